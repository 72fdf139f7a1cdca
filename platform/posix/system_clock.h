#pragma once

#include "platform/clock.h"

namespace kelvo {

// The kernel's clocks. Any thread.
class SystemClock : public Clock {
 public:
  std::int64_t Now() const override;
  std::chrono::milliseconds Monotonic() const override;
};

}  // namespace kelvo
