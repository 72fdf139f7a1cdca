#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "agent/sync_enums.h"
#include "cache/sync_cache_item.h"

namespace kelvo {

class CSyncCache;

// The items that a menu is for, in the file manager's order, and what they have in common.
//
// The cache is read in one round, one look-up for each item, each under the cache's own lock and no
// other: what the Agent says meanwhile may be seen by half of the items. As ever, a miss has the
// cache ask the Agent. All that the items have in common is of the last such round.
//
// Threads: one at a time.
class MenuSelection {
 public:
  // Paths as the file system knows them, empty for an item without one.
  explicit MenuSelection(CSyncCache& cache, std::vector<std::string> paths = {});

  std::size_t count() const { return paths_.size(); }
  bool isEmpty() const { return paths_.empty(); }
  const std::vector<std::string>& paths() const { return paths_; }
  // Empty beyond the end, too.
  const std::string& path(std::size_t index) const;

  // The round. Whether every item has a status. Begins with the item that had none the last time,
  // and ends at the first that has none: asking again and again while lists arrive costs no more
  // than asking once.
  bool pathsAreInProject();

  // These tell of items of which pathsAreInProject has answered true.
  const CSyncCacheItem& first() const { return facts_.first; }
  bool itemsHaveFileId() const { return facts_.haveFileId; }
  bool anyItemHasPermissionViolation() const { return facts_.anyDenied; }
  // The value that all items share; 0 when they differ.
  sync::EItemPermissions itemsHaveSamePermissions() const;

  struct LockStatus {
    sync::ESyncItemLock lock{};
    std::optional<std::string> owner = {};    // when there is one to name; another user
    sync::EItemPermissions permissions = {};  // the least of all items
  };
  // What the items' locks have in common; nothing for a directory among the items, or for locked
  // and unlocked ones together. Asks the file system about every item, so it may block as long as
  // that does.
  std::optional<LockStatus> itemsHaveSameLockStatus() const;

 private:
  struct Facts {
    CSyncCacheItem first;
    std::string lastOwner;  // of the lock of the last item
    sync::ESyncItemLock lock{};
    sync::EItemPermissions permissions{};
    sync::EItemPermissions leastPermissions{};
    bool haveFileId = true;
    bool anyDenied = false;
    bool samePermissions = true;
    bool sameLock = true;
    bool anyUnlocked = false;
    bool anyLocked = false;
  };

  static void Add(Facts& facts, const CSyncCacheItem& item);

  CSyncCache* cache_;
  std::vector<std::string> paths_;
  std::size_t lastOutside_ = 0;  // the item that had no status when it was last asked for
  Facts facts_;
};

}  // namespace kelvo
