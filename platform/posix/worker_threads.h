#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>

namespace kelvo {

// A few threads that run what they are handed, oldest first. A thread starts when there is work for
// it and ends when it has had none for a while, so that an idle process has none.
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
  // Waits at most `limit` for all that was handed over. False when a thread is still at work then:
  // what has not begun is dropped, and the process must end without tearing down what the tasks
  // under way may use.
  [[nodiscard]] bool Finish(std::chrono::milliseconds limit);

 private:
  struct State;
  static void Work(const std::shared_ptr<State>& state);

  // Shared with the threads, which may outlive this.
  const std::shared_ptr<State> state_;
};

}  // namespace kelvo
