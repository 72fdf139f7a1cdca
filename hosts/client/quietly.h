#pragma once

namespace kelvo {

// Runs a callback of a C library in a process that is not ours: no exception may leave it. What
// can be thrown here is want of memory, and the file manager is better off without a badge.
template <class Callable>
void Quietly(Callable&& callable) noexcept {
  try {
    callable();
  } catch (...) {
  }
}

}  // namespace kelvo
