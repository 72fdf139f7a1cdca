#pragma once

#include <glib.h>

#include <atomic>
#include <map>
#include <memory>
#include <thread>

#include "platform/linux/glib_ptr.h"
#include "platform/run_loop.h"

namespace kelvo {

// The main loop on a GLib main context.
//
// Each posted task is a source of its own, so that a loop turned from inside a task runs the tasks
// posted after it.
// Threads: as RunLoop says; the loop's thread is the one that made the object, or that called Run.
// Lifetime: destroying it cancels every timer; tasks still posted stay with the context.
class GlibRunLoop : public RunLoop {
 public:
  // Takes a reference; null is the default context.
  explicit GlibRunLoop(GMainContext* context);
  ~GlibRunLoop() override;
  GlibRunLoop(const GlibRunLoop&) = delete;
  GlibRunLoop& operator=(const GlibRunLoop&) = delete;

  void Post(std::function<void()> task) override;
  TimerId After(std::chrono::milliseconds delay, std::function<void()> task) override;
  TimerId Every(std::chrono::milliseconds first, std::chrono::milliseconds interval,
                std::function<void()> task) override;
  void Cancel(TimerId id) override;
  bool RunModal(const std::function<bool()>& isOver) override;
  bool IsCurrent() const override;

  // Turns the loop until Quit, which may come first.
  void Run();
  // Any thread.
  void Quit();

  GMainContext* context() const { return context_.get(); }

 private:
  struct TimerDestroy {
    void operator()(GSource* source) const;
  };
  struct TimerState;
  using Timer = std::unique_ptr<GSource, TimerDestroy>;

  TimerId StartTimer(std::chrono::milliseconds first, std::chrono::milliseconds interval,
                     std::function<void()> task);
  static gboolean OnTimer(gpointer data);

  const GLibPtr<GMainContext> context_;
  std::atomic<std::thread::id> thread_;
  std::atomic<bool> quit_{false};
  std::map<TimerId, Timer> timers_;  // the loop's thread
  TimerId nextTimer_ = 1;            // the loop's thread
};

}  // namespace kelvo
