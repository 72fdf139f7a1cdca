// What a BadgeStore keeps of each folder; for its own sources alone.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "hosts/client/badge_store.h"
#include "hosts/client/item_table.h"
#include "hosts/client/watched_directories.h"

namespace kelvo {

struct BadgeStore::Folder {
  // The items to be described, and the call for some of them that is under way.
  struct Describing {
    std::vector<Item*> queue;
    std::vector<Item*> asked;  // null: swept since
    std::uint64_t ticket = 0;
    Milliseconds notBefore{0};
    Milliseconds delay = kFirstRetry;
  };

  std::string path;
  ItemTable items;
  WatchedDirectories::Relation relation = WatchedDirectories::Relation::kOutside;
  std::size_t holders = 0;  // the sum of the items'
  bool observed = false;    // the present extension was told so
  bool hadBadge = false;    // since the extension appeared
  bool resting = false;     // nothing is asked until the file manager asks for an item
  std::vector<Item*> queue;
  std::vector<Item*> asked;  // of the call that is under way; null: swept since
  std::uint64_t ticket = 0;  // of that call; 0: there is none
  Milliseconds lastUse{0};
  Milliseconds sweepAt = kNever;
  Milliseconds askAgainAt = kNever;
  Milliseconds notBefore{0};  // no call until then
  Milliseconds delay = kFirstRetry;
  Describing describing;

  // A large folder's badges come first: the extension answers call after call.
  bool MayDescribe() const {
    return describing.ticket == 0 && !describing.queue.empty() && queue.empty();
  }
  bool Shown(Milliseconds now) const { return holders > 0 || now - lastUse < kLinger; }
  static Milliseconds Longer(Milliseconds delay) { return std::min(2 * delay, kLastRetry); }
};

}  // namespace kelvo
