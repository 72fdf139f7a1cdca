#pragma once

#include <chrono>
#include <functional>
#include <utility>

#include "platform/background_queue.h"
#include "platform/posix/worker_threads.h"

namespace kelvo {

// A background queue on one thread. Threads, lifetime: as WorkerThreads.
class ThreadBackgroundQueue : public BackgroundQueue {
 public:
  explicit ThreadBackgroundQueue(RunLoop& runLoop) : thread_(runLoop, 1) {}

  void Async(std::function<void()> work) override { thread_.Run(std::move(work)); }
  bool TryAsync(std::function<void()>& work) override { return thread_.TryRun(work); }
  // See WorkerThreads::Finish.
  [[nodiscard]] bool Finish(std::chrono::milliseconds limit) { return thread_.Finish(limit); }

 private:
  WorkerThreads thread_;
};

}  // namespace kelvo
