#pragma once

#include <chrono>
#include <condition_variable>

#include "base/mutex.h"
#include "base/thread_annotations.h"

namespace kelvo {

// Waits for a change of what a CMutex guards.
//
// Threads: any.
class CCondition {
 public:
  // Lets go of the mutex while it waits: until a notice, or the limit; also for no reason.
  void WaitUntil(CMutex& mutex, std::chrono::steady_clock::time_point limit) KELVO_REQUIRES(mutex);
  void NotifyAll() { condition_.notify_all(); }

 private:
  std::condition_variable_any condition_;
};

}  // namespace kelvo
