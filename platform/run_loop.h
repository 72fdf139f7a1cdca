#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

namespace kelvo {

// The main loop: input of the Agent, timers, and what other threads hand over.
//
// A modal session turns the same loop from inside one of its callbacks; posted tasks and timers run
// inside it. Timers run on the monotonic clock.
class RunLoop {
 public:
  using TimerId = std::uint64_t;  // never 0

  virtual ~RunLoop() = default;
  // Any thread. Runs the task on the loop, after everything posted before it.
  virtual void Post(std::function<void()> task) = 0;
  // The loop's thread. Once, after `delay`.
  virtual TimerId After(std::chrono::milliseconds delay, std::function<void()> task) = 0;
  // The loop's thread. First after `first`, then every `interval`.
  virtual TimerId Every(std::chrono::milliseconds first, std::chrono::milliseconds interval,
                        std::function<void()> task) = 0;
  // The loop's thread. An id that has fired for the last time, or was cancelled, is ignored.
  virtual void Cancel(TimerId id) = 0;
  // The loop's thread, also inside a task. Turns the loop until `isOver` answers true, which is
  // asked before each turn; false when the loop was told to end before that.
  virtual bool RunModal(const std::function<bool()>& isOver) = 0;
  // Whether the caller is on the loop's thread.
  virtual bool IsCurrent() const = 0;
};

}  // namespace kelvo
