#pragma once

#include <chrono>
#include <cstdint>

#include "base/timer.h"

namespace kelvo {

// When to look at the size of a log file, and how large it may be.
//
// Threads: the run loop's.
class CLogRotator {
 public:
  static constexpr std::chrono::milliseconds kNever = std::chrono::milliseconds::max();

  CTimer& Timer() { return timer_; }
  std::int64_t MaxSize() const { return maxSize_; }

  // Checks at once and then every `interval`; with kNever only at once. Always true.
  bool Initialize(RunLoop& runLoop, std::int64_t maxSize, std::chrono::milliseconds interval);

 private:
  CTimer timer_;
  std::int64_t maxSize_ = 0;  // bytes
};

}  // namespace kelvo
