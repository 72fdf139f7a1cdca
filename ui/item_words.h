#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "cache/sync_cache_item.h"

namespace kelvo {

// What there is to say of an item, in words for the user in the extension's language: valid UTF-8
// of one line, empty where there is nothing to say.
struct ItemWords {
  std::string state;  // what its badge means, also where the user has switched that off
  std::string lockOwner;
  std::string permission;

  bool operator==(const ItemWords&) const = default;
  bool operator<(const ItemWords& other) const {
    return std::tie(state, lockOwner, permission) <
           std::tie(other.state, other.lockOwner, other.permission);
  }
};

// Any thread.
ItemWords WordsFor(const CSyncCacheItem& item);

struct WordsOfItems {
  std::vector<ItemWords> descriptions;  // each once; the first is empty
  std::vector<std::uint32_t> which;     // of each item its place among the descriptions
};

// Describes many items, and makes the words of those that are alike only once.
//
// Threads: one at a time.
class ItemDescriber {
 public:
  // Of all descriptions together; what is new beyond that remains without words, as nobody has so
  // many different owners of locks.
  static constexpr std::size_t kMaxBytes = std::size_t{32} << 20;

  explicit ItemDescriber(std::size_t items, std::size_t maxBytes = kMaxBytes);
  // Nothing: an item of which nothing is known.
  void Add(const std::optional<CSyncCacheItem>& item);
  WordsOfItems Take() &&;

 private:
  // All that the words depend on.
  struct Facts {
    BadgeStatus status{};
    sync::ESyncItemLock lock{};
    sync::EItemPermissions permissions{};
    std::string lockOwner;

    bool operator<(const Facts& other) const {
      return std::tie(status, lock, permissions, lockOwner) <
             std::tie(other.status, other.lock, other.permissions, other.lockOwner);
    }
  };
  std::uint32_t PlaceOf(const CSyncCacheItem& item);

  WordsOfItems described_;
  std::map<Facts, std::uint32_t> placesByFacts_;
  std::map<ItemWords, std::uint32_t> places_;
  const std::size_t maxBytes_;
  std::size_t bytes_ = 0;
};

}  // namespace kelvo
