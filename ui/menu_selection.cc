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
  for (std::size_t seen = 0; seen < paths_.size(); ++seen) {
    if (cache_->GetStatus(paths_[lastOutside_]) == BadgeStatus::kNone) return false;
    lastOutside_ = (lastOutside_ + 1) % paths_.size();
  }
  return true;
}

bool MenuSelection::itemsHaveFileId() const {
  return std::none_of(paths_.begin(), paths_.end(),
                      [this](const std::string& item) { return cache_->GetFileId(item).empty(); });
}

bool MenuSelection::anyItemHasPermissionViolation() const {
  return std::any_of(paths_.begin(), paths_.end(), [this](const std::string& item) {
    return cache_->GetDenied(item) != EPermissionsDenied::NO_PERMISSIONS_DENIED;
  });
}

EItemPermissions MenuSelection::itemsHaveSamePermissions() const {
  const EItemPermissions first = cache_->GetPermissions(path(0));
  for (std::size_t i = 1; i < paths_.size(); ++i) {
    if (cache_->GetPermissions(paths_[i]) != first) return EItemPermissions::PERM_NONE;
  }
  return first;
}

std::optional<MenuSelection::LockStatus> MenuSelection::itemsHaveSameLockStatus() const {
  constexpr ESyncItemLock kUnlocked = ESyncItemLock::NO_SYNC_LOCK;
  LockStatus common{cache_->GetLockStatus(path(0)), std::nullopt, cache_->GetPermissions(path(0))};
  std::string owner = cache_->GetLockOwner(path(0));
  bool sameOwner = true;
  for (const std::string& item : paths_) {
    if (IsDirectory(item)) return std::nullopt;
    const ESyncItemLock lock = cache_->GetLockStatus(item);
    if (lock != common.lock) {
      if (lock == kUnlocked || common.lock == kUnlocked) return std::nullopt;
      common.lock = ESyncItemLock::SYNC_LOCK;
    }
    // Deliberate: the last item decides, whoever holds those between.
    if (common.lock != kUnlocked) sameOwner = cache_->GetLockOwner(item) == owner;
    common.permissions = std::min(common.permissions, cache_->GetPermissions(item));
  }
  if (common.lock != kUnlocked && sameOwner && !owner.empty()) common.owner = std::move(owner);
  return common;
}

}  // namespace kelvo
