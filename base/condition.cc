#include "base/condition.h"

namespace kelvo {
namespace {

// The mutex under the names that the standard library knows.
struct Lockable {
  void lock() KELVO_NO_THREAD_SAFETY_ANALYSIS { mutex.Lock(); }
  void unlock() KELVO_NO_THREAD_SAFETY_ANALYSIS { mutex.Unlock(); }

  CMutex& mutex;
};

}  // namespace

void CCondition::WaitUntil(CMutex& mutex, std::chrono::steady_clock::time_point limit) {
  Lockable lockable{mutex};
  condition_.wait_until(lockable, limit);
}

}  // namespace kelvo
