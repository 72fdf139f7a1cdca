#pragma once

#include <functional>

namespace kelvo {

// A worker that runs work in the order in which it was handed over: what waits for a settings
// file's lock or for the secret store, or takes longer than the main loop may be held.
class BackgroundQueue {
 public:
  virtual ~BackgroundQueue() = default;
  // Any thread. `work` runs on the worker.
  virtual void Async(std::function<void()> work) = 0;
};

}  // namespace kelvo
