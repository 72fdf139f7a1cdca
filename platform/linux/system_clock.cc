#include "platform/linux/system_clock.h"

#include <glib.h>

namespace kelvo {

std::int64_t SystemClock::Now() const { return g_get_real_time() / G_USEC_PER_SEC; }

// The clock that GLib's own timers run on.
std::chrono::milliseconds SystemClock::Monotonic() const {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
      std::chrono::microseconds(g_get_monotonic_time()));
}

}  // namespace kelvo
