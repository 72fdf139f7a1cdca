#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>

#include "base/mutex.h"
#include "core/finder_sync.h"

namespace kelvo {

// The last menus that Finder was given. It hands back a copy of the line that was chosen, of which
// only the number is sure to be the line's own.
//
// Threads: any.
class OfferedMenus {
 public:
  // More than Finder shows at once, for all of its windows.
  static constexpr std::size_t kMenus = 16;

  struct Line {
    Selector action;
    MenuContextPtr context;
  };

  // Answers the number of the first line; the others follow it. Never 0, which is a line's without
  // a number.
  std::int32_t Add(FinderMenu menu);
  // nullopt for a number of no menu that is kept, and for a line that does nothing.
  std::optional<Line> LineOf(std::int64_t tag);

 private:
  struct Entry {
    std::int32_t firstTag;
    FinderMenu menu;
  };

  CMutex mutex_{kMutexNormal};
  std::deque<Entry> entries_ KELVO_GUARDED_BY(mutex_);  // oldest first
  std::int32_t nextTag_ KELVO_GUARDED_BY(mutex_) = 1;
};

}  // namespace kelvo
