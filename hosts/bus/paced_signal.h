#pragma once

#include <chrono>
#include <functional>
#include <optional>

#include "platform/clock.h"
#include "platform/run_loop.h"

namespace kelvo {

// Emits a signal no more often than once an interval. A request is never lost: those made within
// the interval are emitted together at its end.
//
// Threads: the loop's. Lifetime: outlives the loop's turning.
class PacedSignal {
 public:
  PacedSignal(RunLoop& runLoop, const Clock& clock, std::chrono::milliseconds interval,
              std::function<void()> emit);
  PacedSignal(const PacedSignal&) = delete;
  PacedSignal& operator=(const PacedSignal&) = delete;

  void Request();

 private:
  void Emit();

  RunLoop& runLoop_;
  const Clock& clock_;
  const std::chrono::milliseconds interval_;
  const std::function<void()> emit_;
  std::optional<std::chrono::milliseconds> last_;
  bool scheduled_ = false;
};

}  // namespace kelvo
