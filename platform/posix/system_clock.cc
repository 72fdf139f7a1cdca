#include "platform/posix/system_clock.h"

namespace kelvo {

std::int64_t SystemClock::Now() const {
  return std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
}

std::chrono::milliseconds SystemClock::Monotonic() const {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
      std::chrono::steady_clock::now().time_since_epoch());
}

}  // namespace kelvo
