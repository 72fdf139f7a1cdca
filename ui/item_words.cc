#include "ui/item_words.h"

#include <utility>

#include "base/string_utils.h"
#include "settings/application_bundle.h"
#include "ui/display_text.h"
#include "ui/menu_context.h"

namespace kelvo {
namespace {

struct StateTitle {
  BadgeStatus status;
  LocalizedText title;
};

constexpr StateTitle kStateTitles[] = {
    {BadgeStatus::kInSync, Localizable("ItemState.InSync", "In sync")},
    {BadgeStatus::kDirty, Localizable("ItemState.Syncing", "Syncing")},
    {BadgeStatus::kLocked, Localizable("ItemState.Locked", "Locked by another user")},
    {BadgeStatus::kLockedForMe, Localizable("ItemState.LockedForMe", "Locked by you")},
    {BadgeStatus::kPendingUnlock, Localizable("ItemState.UnlockPending", "Unlock pending")},
    {BadgeStatus::kPermissions, Localizable("ItemState.Violation", "Permission violation")},
};

std::string StateOf(BadgeStatus status) {
  for (const StateTitle& known : kStateTitles) {
    if (known.status == status) return ToValidUtf8(LocalizedString(known.title));
  }
  return {};
}

std::string LockOwnerOf(const CSyncCacheItem& item) {
  if (item.lock == sync::ESyncItemLock::NO_SYNC_LOCK) return {};
  if (item.lock == sync::ESyncItemLock::SYNC_LOCK_FOR_ME && item.lockOwner.empty()) {
    return ToValidUtf8(LocalizedString("ProjectsList.Me", "Me"));
  }
  return DisplayText(item.lockOwner);
}

// As in the menu, which says nothing of an item without a permission.
std::string PermissionOf(sync::EItemPermissions permissions) {
  if (permissions <= sync::EItemPermissions::PERM_NONE) return {};
  return ToValidUtf8(KelvoMenuContext::stringForPermission(permissions));
}

}  // namespace

ItemWords WordsFor(const CSyncCacheItem& item) {
  return {StateOf(item.status), LockOwnerOf(item), PermissionOf(item.permissions)};
}

ItemDescriber::ItemDescriber(std::size_t items, std::size_t maxBytes) : maxBytes_(maxBytes) {
  described_.which.reserve(items);
  described_.descriptions.emplace_back();
  places_.emplace(ItemWords{}, 0);
}

void ItemDescriber::Add(const std::optional<CSyncCacheItem>& item) {
  described_.which.push_back(item ? PlaceOf(*item) : 0);
}

std::uint32_t ItemDescriber::PlaceOf(const CSyncCacheItem& item) {
  auto [facts, isNew] = placesByFacts_.try_emplace(
      Facts{item.status, item.lock, item.permissions, item.lockOwner}, 0);
  if (!isNew) return facts->second;
  ItemWords words = WordsFor(item);
  const auto known = places_.find(words);
  if (known != places_.end()) return facts->second = known->second;
  bytes_ += words.state.size() + words.lockOwner.size() + words.permission.size();
  if (bytes_ > maxBytes_) return 0;
  facts->second = static_cast<std::uint32_t>(described_.descriptions.size());
  places_.emplace(words, facts->second);
  described_.descriptions.push_back(std::move(words));
  return facts->second;
}

WordsOfItems ItemDescriber::Take() && { return std::move(described_); }

}  // namespace kelvo
