#pragma once

#include <utility>

#include "base/mutex.h"

namespace kelvo {

// What waits for a worker, gathered in one value, so that however often something is to be done
// again, one task of the worker's queue is enough. Threads: any.
template <typename Value>
class Pending {
 public:
  // Calls `change` with what waits, under a lock. True when no task is queued yet to take it: the
  // caller must queue one.
  template <typename Change>
  [[nodiscard]] bool Add(Change change) {
    CMutexLock lock(mutex_);
    change(value_);
    return !std::exchange(isQueued_, true);
  }
  // For the task.
  Value Take() {
    CMutexLock lock(mutex_);
    isQueued_ = false;
    return std::exchange(value_, Value{});
  }

 private:
  CMutex mutex_{kMutexNormal};
  Value value_ KELVO_GUARDED_BY(mutex_){};
  bool isQueued_ KELVO_GUARDED_BY(mutex_) = false;
};

}  // namespace kelvo
