#pragma once

#include <functional>

namespace kelvo {

// A worker that runs work in the order in which it was handed over: what waits for a settings
// file's lock or for the secret store, or takes longer than the main loop may be held. Work must
// not throw: others wait for what it brings.
class BackgroundQueue {
 public:
  virtual ~BackgroundQueue() = default;
  // Any thread. `work` runs on the worker, also when the system has no thread for it at present:
  // then a little after it has one again.
  virtual void Async(std::function<void()> work) = 0;
  // The same for work that must not wait so long: without a thread it answers false, and `work` is
  // the caller's to do.
  [[nodiscard]] virtual bool TryAsync(std::function<void()>& work) = 0;
};

}  // namespace kelvo
