#pragma once

#include <memory>

#include "platform/run_loop.h"

namespace kelvo {

// The main thread's run loop, in the usual modes and in that of modal sessions: whoever runs one
// turns this loop, posted tasks and timers with it.
//
// Threads: as RunLoop. Lifetime: the loop itself is the process's; destroying this cancels every
// timer and drops what is posted. Made on the main thread.
class MacRunLoop : public RunLoop {
 public:
  MacRunLoop();
  ~MacRunLoop() override;
  MacRunLoop(const MacRunLoop&) = delete;
  MacRunLoop& operator=(const MacRunLoop&) = delete;

  void Post(std::function<void()> task) override;
  TimerId After(std::chrono::milliseconds delay, std::function<void()> task) override;
  TimerId Every(std::chrono::milliseconds first, std::chrono::milliseconds interval,
                std::function<void()> task) override;
  void Cancel(TimerId id) override;
  // Turns the loop without any window's input; nobody tells this loop to end, so always true.
  bool RunModal(const std::function<bool()>& isOver) override;
  bool IsCurrent() const override;

 private:
  struct Objects;

  const std::unique_ptr<Objects> objects_;
};

}  // namespace kelvo
