#include "base/log_rotator.h"

#include <limits>

#include "base/logger.h"

namespace kelvo {

bool CLogRotator::Initialize(RunLoop& runLoop, std::int64_t maxSize,
                             std::chrono::milliseconds interval) {
  const double seconds = interval == kNever ? std::numeric_limits<double>::max()
                                            : std::chrono::duration<double>(interval).count();
  KELVO_LOG(kLogDebug, "Log rotate: size=" << maxSize << " interval=" << seconds);
  maxSize_ = maxSize;
  timer_.Start(runLoop, std::chrono::milliseconds{0}, interval);
  return true;
}

}  // namespace kelvo
