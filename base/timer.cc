#include "base/timer.h"

#include <algorithm>

namespace kelvo {
namespace {

// Stands for "never" in a run loop that adds intervals to its clock and counts in nanoseconds.
constexpr std::chrono::milliseconds kLongest = std::chrono::hours{24 * 365 * 100};

}  // namespace

CTimer::~CTimer() { Stop(); }

void CTimer::Start(RunLoop& runLoop, std::chrono::milliseconds first,
                   std::chrono::milliseconds interval) {
  Stop();
  runLoop_ = &runLoop;
  id_ = runLoop.Every(std::min(first, kLongest), std::min(interval, kLongest),
                      [this] { TimerHandler(this); });
}

void CTimer::Stop() {
  if (id_ == 0) return;
  runLoop_->Cancel(id_);
  id_ = 0;
}

void CTimer::TimerHandler(CTimer* timer) {
  if (timer->target_ != nullptr) (timer->target_->*timer->handler_)(timer);
}

}  // namespace kelvo
