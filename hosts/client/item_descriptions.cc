#include "hosts/client/item_descriptions.h"

#include <algorithm>
#include <functional>
#include <string>

namespace kelvo {

bool DescribedItems::Fits(std::size_t names) const {
  return which.size() == names &&
         std::all_of(which.begin(), which.end(),
                     [this](std::uint32_t place) { return place < descriptions.size(); });
}

DescriptionPool::Ptr DescriptionPool::Intern(const ItemDescription& description) {
  if (description == NoDescription()) return nullptr;
  const auto at = kept_.find(description);
  if (at != kept_.end()) return *at;
  return *kept_.insert(std::make_shared<const ItemDescription>(description)).first;
}

void DescriptionPool::Prune() {
  if (kept_.size() < pruneAt_) return;
  std::erase_if(kept_, [](const Ptr& description) { return description.use_count() == 1; });
  pruneAt_ = std::max(kFirstPrune, 2 * kept_.size());
}

std::size_t DescriptionPool::Hash::operator()(const ItemDescription& description) const noexcept {
  const std::hash<std::string> hash;
  return (hash(description.state) * 31 + hash(description.lockOwner)) * 31 +
         hash(description.permission);
}

}  // namespace kelvo
