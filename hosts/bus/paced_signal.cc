#include "hosts/bus/paced_signal.h"

#include <utility>

namespace kelvo {

PacedSignal::PacedSignal(RunLoop& runLoop, const Clock& clock, std::chrono::milliseconds interval,
                         std::function<void()> emit)
    : runLoop_(runLoop), clock_(clock), interval_(interval), emit_(std::move(emit)) {}

void PacedSignal::Request() {
  if (scheduled_) return;
  const std::chrono::milliseconds now = clock_.Monotonic();
  if (!last_ || now >= *last_ + interval_) {
    Emit();
    return;
  }
  scheduled_ = true;
  runLoop_.After(*last_ + interval_ - now, [this] { Emit(); });
}

void PacedSignal::Emit() {
  scheduled_ = false;
  last_ = clock_.Monotonic();
  emit_();
}

}  // namespace kelvo
