#include "platform/linux/glib_run_loop.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <utility>

namespace kelvo {
namespace {

using std::chrono::milliseconds;

// GLib's lock puts a task's making before its running; the thread sanitizer cannot see into GLib
// and is told with this.
std::atomic<unsigned> handovers{0};

gboolean RunTask(gpointer data) {
  (void)handovers.load(std::memory_order_acquire);
  (*static_cast<std::function<void()>*>(data))();
  return G_SOURCE_REMOVE;
}

void DeleteTask(gpointer data) { delete static_cast<std::function<void()>*>(data); }

// A source that is due only at its ready time.
gboolean DispatchAtReadyTime(GSource*, GSourceFunc callback, gpointer data) {
  return callback(data);
}

GSourceFuncs kTimerFunctions = {nullptr, nullptr, DispatchAtReadyTime, nullptr, nullptr, nullptr};

// A year is as good as for ever, and leaves room to add to the present time.
gint64 Microseconds(milliseconds duration) {
  constexpr milliseconds kLongest = std::chrono::hours(24 * 365);
  return std::chrono::microseconds(std::clamp(duration, milliseconds{0}, kLongest)).count();
}

}  // namespace

struct GlibRunLoop::TimerState {
  GlibRunLoop& loop;
  GSource* source;  // owns this
  TimerId id;
  gint64 interval;  // microseconds, 0: once
  gint64 due;
  std::function<void()> task;
};

void GlibRunLoop::TimerDestroy::operator()(GSource* source) const {
  g_source_destroy(source);
  g_source_unref(source);
}

GlibRunLoop::GlibRunLoop(GMainContext* context)
    : context_(g_main_context_ref(context == nullptr ? g_main_context_default() : context)),
      thread_(std::this_thread::get_id()) {}

GlibRunLoop::~GlibRunLoop() = default;

void GlibRunLoop::Post(std::function<void()> task) {
  auto* posted = new std::function<void()>(std::move(task));
  handovers.fetch_add(1, std::memory_order_release);
  GSource* source = g_idle_source_new();
  g_source_set_priority(source, G_PRIORITY_DEFAULT);
  g_source_set_callback(source, RunTask, posted, DeleteTask);
  g_source_attach(source, context_.get());
  g_source_unref(source);
}

RunLoop::TimerId GlibRunLoop::StartTimer(milliseconds first, milliseconds interval,
                                         std::function<void()> task) {
  const TimerId id = nextTimer_++;
  GSource* source = g_source_new(&kTimerFunctions, sizeof(GSource));
  const gint64 due = g_get_monotonic_time() + Microseconds(first);
  auto* state = new TimerState{*this, source, id, Microseconds(interval), due, std::move(task)};
  g_source_set_callback(source, OnTimer, state,
                        [](gpointer data) { delete static_cast<TimerState*>(data); });
  g_source_set_ready_time(source, due);
  timers_.emplace(id, source);
  g_source_attach(source, context_.get());
  return id;
}

RunLoop::TimerId GlibRunLoop::After(milliseconds delay, std::function<void()> task) {
  return StartTimer(delay, milliseconds{0}, std::move(task));
}

RunLoop::TimerId GlibRunLoop::Every(milliseconds first, milliseconds interval,
                                    std::function<void()> task) {
  return StartTimer(first, std::max(interval, milliseconds{1}), std::move(task));
}

gboolean GlibRunLoop::OnTimer(gpointer data) {
  auto* state = static_cast<TimerState*>(data);
  if (state->interval == 0) {
    state->loop.timers_.erase(state->id);
  } else {
    // From the time it was due, so that late turns do not add up; beats missed are left out.
    state->due = std::max(state->due + state->interval, g_get_monotonic_time());
    g_source_set_ready_time(state->source, state->due);
  }
  // GLib keeps the state until the callback is over, also when the task cancels its own timer.
  state->task();
  return G_SOURCE_CONTINUE;
}

void GlibRunLoop::Cancel(TimerId id) { timers_.erase(id); }

bool GlibRunLoop::IsCurrent() const { return thread_.load() == std::this_thread::get_id(); }

bool GlibRunLoop::RunModal(const std::function<bool()>& isOver) {
  bool over = isOver();
  while (!over && !quit_) {
    g_main_context_iteration(context_.get(), TRUE);
    over = isOver();
  }
  return over;
}

void GlibRunLoop::Run() {
  thread_ = std::this_thread::get_id();
  while (!quit_) g_main_context_iteration(context_.get(), TRUE);
  quit_ = false;
}

void GlibRunLoop::Quit() {
  quit_ = true;
  g_main_context_wakeup(context_.get());
}

}  // namespace kelvo
