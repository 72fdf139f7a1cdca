#include "base/guarded_call.h"

#include <exception>

#include "base/logger.h"

namespace kelvo {

void CallGuarded(const char* where, const std::function<void()>& call) noexcept {
  try {
    call();
  } catch (const std::exception& error) {
    KELVO_LOG(kLogError, where << " failed: " << error.what());
  } catch (...) {
    KELVO_LOG(kLogError, where << " failed");
  }
}

}  // namespace kelvo
