#pragma once

#include <functional>

namespace kelvo {

// Threads for work that waits for somebody else's server.
class Threads {
 public:
  virtual ~Threads() = default;
  // Any thread. Starts `work` at once on a thread of its own.
  virtual void detachNewThread(std::function<void()> work) = 0;
};

}  // namespace kelvo
