#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <unordered_set>
#include <vector>

#include "hosts/client/item_description.h"

namespace kelvo {

// The answer to one call: descriptions, most of which many items share.
struct DescribedItems {
  std::vector<ItemDescription> descriptions;
  std::span<const std::uint32_t> which;  // for each name its place among the descriptions

  // Whether that answers a call for so many names.
  bool Fits(std::size_t names) const;
};

// Keeps each description once, however many items have it.
class DescriptionPool {
 public:
  using Ptr = std::shared_ptr<const ItemDescription>;  // null for NoDescription

  Ptr Intern(const ItemDescription& description);
  // Forgets descriptions that only the pool holds, once they may be half of it.
  void Prune();

 private:
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(const ItemDescription& description) const noexcept;
    std::size_t operator()(const Ptr& description) const noexcept { return (*this)(*description); }
  };
  struct Same {
    using is_transparent = void;
    bool operator()(const Ptr& a, const Ptr& b) const noexcept { return *a == *b; }
    bool operator()(const Ptr& a, const ItemDescription& b) const noexcept { return *a == b; }
    bool operator()(const ItemDescription& a, const Ptr& b) const noexcept { return a == *b; }
  };
  static constexpr std::size_t kFirstPrune = 64;

  std::unordered_set<Ptr, Hash, Same> kept_;
  std::size_t pruneAt_ = kFirstPrune;
};

}  // namespace kelvo
