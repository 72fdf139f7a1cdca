#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>

namespace kelvo {

// A few threads that run what they are handed, oldest first. A thread starts when there is work for
// it and ends when it has had none for a while, so that an idle process has none. When the system
// refuses even the first, tasks wait for the next call or for Finish.
//
// Threads: any. Lifetime: end it with Finish; without that, destroying it drops what has not begun
// and leaves the threads to end by themselves.
class WorkerThreads {
 public:
  using Task = std::function<void()>;

  explicit WorkerThreads(std::size_t count);
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
  // Whether somebody will take one more task; makes a thread for it if there may be another.
  static bool HasTakerForOneMore(const std::shared_ptr<State>& state);
  static void Work(const std::shared_ptr<State>& state);
  static void RunOldest(State& state, std::unique_lock<std::mutex>& lock);

  // Shared with the threads, which may outlive this.
  const std::shared_ptr<State> state_;
};

}  // namespace kelvo
