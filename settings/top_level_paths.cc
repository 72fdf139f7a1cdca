#include "settings/top_level_paths.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <optional>

namespace kelvo {
namespace {

constexpr std::string_view kRoot = "/";
constexpr std::string_view kVolumes = "/Volumes";

bool IsInside(std::string_view path, std::string_view folder) {
  if (!path.starts_with(folder)) return false;
  return path.size() == folder.size() || path[folder.size()] == '/' || folder == kRoot;
}

bool IsOnVolume(std::string_view path) { return IsInside(path, kVolumes); }

// "/" before all other bytes, so that whatever is inside a folder follows right after it.
struct FolderOrder {
  bool operator()(std::string_view a, std::string_view b) const {
    const auto [inA, inB] = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
    if (inB == b.end()) return false;
    if (inA == a.end() || *inA == '/') return true;
    return *inB != '/' && static_cast<unsigned char>(*inA) < static_cast<unsigned char>(*inB);
  }
};

// The folders found so far. None is inside another, but for volumes under "/".
class TopLevel {
 public:
  void Add(std::string_view path) {
    if (path == kRoot) return AddRoot();
    if (IsCovered(path)) return;
    for (auto next = folders_.lower_bound(path);
         next != folders_.end() && IsInside(next->first, path);) {
      next = folders_.erase(next);
    }
    if (root_ && IsInside(kRoot, path)) root_.reset();
    folders_.emplace(path, next_++);
  }

  std::vector<std::string> InOrder() const {
    std::map<std::size_t, std::string_view> ordered;
    for (const auto& [path, place] : folders_) ordered.emplace(place, path);
    if (root_) ordered.emplace(*root_, kRoot);
    std::vector<std::string> paths;
    paths.reserve(ordered.size());
    for (const auto& [place, path] : ordered) paths.emplace_back(path);
    return paths;
  }

 private:
  void AddRoot() {
    if (IsCovered(kRoot)) return;
    if (!root_) {
      std::erase_if(folders_, [](const auto& folder) {
        return IsInside(folder.first, kRoot) && !IsOnVolume(folder.first);
      });
    }
    root_ = next_++;
  }

  // By another folder; equal ones change places.
  bool IsCovered(std::string_view path) const {
    if (path != kRoot && root_ && IsInside(path, kRoot) && !IsOnVolume(path)) return true;
    // Between a folder and what is inside it only more of that can be, and no two folders here are
    // inside one another.
    const auto next = folders_.lower_bound(path);
    return next != folders_.begin() && IsInside(path, std::prev(next)->first);
  }

  std::map<std::string_view, std::size_t, FolderOrder> folders_;  // all but "/", with their places
  std::optional<std::size_t> root_;                               // the place of "/"
  std::size_t next_ = 0;
};

// Null for a row that counts for nothing.
const PropertyList::Array* UsableRow(const PropertyList& row) {
  const PropertyList::Array* elements = row.AsArray();
  const bool usable =
      elements != nullptr && elements->size() >= 2 && (*elements)[0].AsString() != nullptr;
  return usable ? elements : nullptr;
}

}  // namespace

std::vector<std::string> TopLevelPaths(const PropertyList::Array& selection) {
  TopLevel paths;
  for (const PropertyList& row : selection) {
    const PropertyList::Array* elements = UsableRow(row);
    if (elements == nullptr) continue;
    const bool* included = (*elements)[1].AsBool();
    if (included != nullptr && *included) paths.Add(*(*elements)[0].AsString());
  }
  return paths.InOrder();
}

void RemoveTopLevelPath(PropertyList::Array& selection, std::string_view path) {
  std::erase_if(selection, [path](const PropertyList& row) {
    const PropertyList::Array* elements = UsableRow(row);
    if (elements == nullptr) return false;
    const std::string& selected = *(*elements)[0].AsString();
    return path == kRoot ? !IsOnVolume(selected) : IsInside(selected, path);
  });
}

}  // namespace kelvo
