#include "ui/menu_selection.h"

#include <algorithm>
#include <utility>

#include "base/file_system.h"
#include "cache/sync_cache.h"

namespace kelvo {

using sync::EItemPermissions;
using sync::EPermissionsDenied;
using sync::ESyncItemLock;

MenuSelection::MenuSelection(CSyncCache& cache, std::vector<std::string> paths)
    : cache_(&cache), paths_(std::move(paths)) {}

const std::string& MenuSelection::path(std::size_t index) const {
  static const auto& none = *new std::string;
  return index < paths_.size() ? paths_[index] : none;
}

bool MenuSelection::pathsAreInProject() {
  Facts facts;
  for (std::size_t seen = 0; seen < paths_.size(); ++seen) {
    const CSyncCacheItem item = cache_->GetItem(paths_[lastOutside_]);
    if (item.status == BadgeStatus::kNone) return false;
    if (seen == 0) {
      facts.lock = item.lock;
      facts.permissions = facts.leastPermissions = item.permissions;
    }
    Add(facts, item);
    if (lastOutside_ == 0) facts.first = item;
    if (lastOutside_ + 1 == paths_.size()) facts.lastOwner = item.lockOwner;
    lastOutside_ = (lastOutside_ + 1) % paths_.size();
  }
  facts_ = std::move(facts);
  return true;
}

void MenuSelection::Add(Facts& facts, const CSyncCacheItem& item) {
  const bool isLocked = item.lock != ESyncItemLock::NO_SYNC_LOCK;
  facts.leastPermissions = std::min(facts.leastPermissions, item.permissions);
  facts.haveFileId = facts.haveFileId && !item.fileId.empty();
  facts.anyDenied = facts.anyDenied || item.denied != EPermissionsDenied::NO_PERMISSIONS_DENIED;
  facts.samePermissions = facts.samePermissions && item.permissions == facts.permissions;
  facts.sameLock = facts.sameLock && item.lock == facts.lock;
  facts.anyLocked = facts.anyLocked || isLocked;
  facts.anyUnlocked = facts.anyUnlocked || !isLocked;
}

EItemPermissions MenuSelection::itemsHaveSamePermissions() const {
  return facts_.samePermissions ? facts_.first.permissions : EItemPermissions::PERM_NONE;
}

std::optional<MenuSelection::LockStatus> MenuSelection::itemsHaveSameLockStatus() const {
  if (facts_.anyLocked && facts_.anyUnlocked) return std::nullopt;
  if (std::any_of(paths_.begin(), paths_.end(), IsDirectory)) return std::nullopt;
  LockStatus common{facts_.sameLock ? facts_.first.lock : ESyncItemLock::SYNC_LOCK, std::nullopt,
                    facts_.leastPermissions};
  // Deliberate: the last item decides, whoever holds those between.
  const bool sameOwner = facts_.lastOwner == facts_.first.lockOwner;
  if (facts_.anyLocked && sameOwner && !facts_.first.lockOwner.empty()) {
    common.owner = facts_.first.lockOwner;
  }
  return common;
}

}  // namespace kelvo
