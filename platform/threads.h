#pragma once

#include <functional>

namespace kelvo {

// Threads for work that waits for somebody else's server.
class Threads {
 public:
  virtual ~Threads() = default;
  // Any thread; returns at once. `work` runs on a thread of its own; where the platform bounds
  // their number, it may have to wait for one.
  virtual void detachNewThread(std::function<void()> work) = 0;
};

}  // namespace kelvo
