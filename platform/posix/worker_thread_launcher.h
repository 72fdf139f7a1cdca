#pragma once

#include <chrono>
#include <utility>

#include "platform/posix/worker_threads.h"
#include "platform/threads.h"

namespace kelvo {

// Lifetime: as WorkerThreads; ended by Finish.
class WorkerThreadLauncher : public Threads {
 public:
  explicit WorkerThreadLauncher(RunLoop& runLoop) : workers_(runLoop, kMost) {}

  void detachNewThread(std::function<void()> work) override { workers_.Run(std::move(work)); }
  [[nodiscard]] bool Finish(std::chrono::milliseconds limit) { return workers_.Finish(limit); }

 private:
  // More than ever wait at once: of web commands, one waits for a server, the others end at once.
  static constexpr std::size_t kMost = 8;

  WorkerThreads workers_;
};

}  // namespace kelvo
