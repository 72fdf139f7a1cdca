#pragma once

#include <functional>

namespace kelvo {

// Runs what belongs to the core for an Objective-C++ file, through which no C++ exception may pass;
// one is logged with `where`.
void CallGuarded(const char* where, const std::function<void()>& call) noexcept;

}  // namespace kelvo
