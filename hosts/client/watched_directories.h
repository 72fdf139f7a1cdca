#pragma once

#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace kelvo {

// Lets containers of std::string be searched with a view, without an allocation. Not noexcept: the
// GNU library then keeps each key's hash, where it would hash the neighbours of what it looks for.
struct PathHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const {
    return std::hash<std::string_view>{}(text);
  }
};

// The item `name` of `folder`.
std::string JoinPath(std::string_view folder, std::string_view name);

// The folders that the extension watches. Paths are compared as bytes.
class WatchedDirectories {
 public:
  enum class Relation {
    kOutside,
    kHoldsWatched,  // outside, but a watched folder is among its items and has a badge of its own
    kInside,        // watched, or below a watched one
  };

  WatchedDirectories() = default;
  // Entries that are no absolute path are left out.
  explicit WatchedDirectories(const std::vector<std::string>& directories);

  Relation RelationOf(std::string_view folder) const;
  bool IsWatched(std::string_view path) const { return watched_.find(path) != watched_.end(); }
  bool operator==(const WatchedDirectories& other) const { return watched_ == other.watched_; }

 private:
  using Paths = std::unordered_set<std::string, PathHash, std::equal_to<>>;
  Paths watched_;
  Paths parents_;
};

}  // namespace kelvo
