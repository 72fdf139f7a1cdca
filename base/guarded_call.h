#pragma once

#include <functional>

namespace kelvo {

// Runs what must not throw into its caller; an exception is logged with `where`. Any thread.
void CallGuarded(const char* where, const std::function<void()>& call) noexcept;

}  // namespace kelvo
