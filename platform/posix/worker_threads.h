#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>

#include "platform/run_loop.h"

namespace kelvo {

// A few threads that run what they are handed, oldest first. A thread starts when there is work for
// it and ends when it has had none for a while, so that an idle process has none. When the system
// refuses one that is needed, the run loop tries again for as long as tasks wait.
//
// A task must not throw: those who wait for what it brings would wait for ever, so an exception
// ends the process, to be started anew.
// Threads: any. Lifetime: end it with Finish; without that, destroying it drops what has not begun
// and leaves the threads to end by themselves. The run loop outlives it.
class WorkerThreads {
 public:
  using Task = std::function<void()>;
  static constexpr std::chrono::milliseconds kRetryInterval{250};

  WorkerThreads(RunLoop& runLoop, std::size_t count);
  ~WorkerThreads();
  WorkerThreads(const WorkerThreads&) = delete;
  WorkerThreads& operator=(const WorkerThreads&) = delete;

  // After Finish the task is dropped.
  void Run(Task task);
  // As Run, but when there is no thread and none can be made, answers false and leaves the task.
  [[nodiscard]] bool TryRun(Task& task);
  // Waits at most `limit` for all that was handed over. What no thread can be made for runs here,
  // however long that takes, unless the limit has passed before it begins. False when something is
  // not done then: what has not begun is dropped, and the process must end without tearing down
  // what the tasks under way may use.
  [[nodiscard]] bool Finish(std::chrono::milliseconds limit);

 private:
  struct State;

  // Shared with the threads, which may outlive this.
  const std::shared_ptr<State> state_;
};

}  // namespace kelvo
