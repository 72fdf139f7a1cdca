#pragma once

#include <chrono>
#include <cstdint>

namespace kelvo {

// The only source of time. Any thread.
class Clock {
 public:
  virtual ~Clock() = default;
  // The wall clock: seconds since 1970, as C's time(). May be set forwards or backwards.
  virtual std::int64_t Now() const = 0;
  // Never goes backwards; the origin means nothing.
  virtual std::chrono::milliseconds Monotonic() const = 0;
};

}  // namespace kelvo
