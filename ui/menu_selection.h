#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "agent/sync_enums.h"

namespace kelvo {

class CSyncCache;

// The items that a menu is for, in the file manager's order, and what they have in common.
//
// Every answer takes time in proportion to the items. The cache is read item by item, each read
// under the cache's own lock and no other: what the Agent says meanwhile may be seen by half of the
// items, and an item that is forgotten meanwhile reads as unset. As ever, a miss has the cache ask
// the Agent.
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

  // Whether every item has a status. Begins with the item that had none the last time, and goes
  // round from there: asking again and again while lists arrive costs no more than asking once.
  bool pathsAreInProject();
  bool itemsHaveFileId() const;
  bool anyItemHasPermissionViolation() const;
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
  CSyncCache* cache_;
  std::vector<std::string> paths_;
  std::size_t lastOutside_ = 0;  // the item that had no status when it was last asked for
};

}  // namespace kelvo
