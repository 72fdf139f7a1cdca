#include "platform/posix/worker_threads.h"

#include <deque>
#include <exception>
#include <thread>
#include <utility>

#include "base/condition.h"
#include "base/mutex.h"

namespace kelvo {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kIdleLife{5};

}  // namespace

struct WorkerThreads::State : std::enable_shared_from_this<State> {
  State(RunLoop& loop, std::size_t count) : runLoop(loop), limit(count) {}

  // False when there is no thread for the task and it may not wait for one; it is left then.
  bool Take(Task& task, bool mayWait);
  // Makes a thread, if there may be another; false when the system refuses.
  bool Hire() KELVO_REQUIRES(mutex);
  void RetryLater() KELVO_REQUIRES(mutex);
  void StartRetryTimer();
  void Retry();
  void Work();
  void RunOldest() KELVO_REQUIRES(mutex);

  RunLoop& runLoop;  // may be gone once `finishing`
  const std::size_t limit;
  CMutex mutex{kMutexNormal};
  CCondition changed;
  std::deque<Task> tasks KELVO_GUARDED_BY(mutex);
  std::size_t threads KELVO_GUARDED_BY(mutex) = 0;  // alive
  std::size_t idle KELVO_GUARDED_BY(mutex) = 0;     // of them, waiting for a task
  bool retryDue KELVO_GUARDED_BY(mutex) = false;
  bool finishing KELVO_GUARDED_BY(mutex) = false;  // threads end when no task is left
};

WorkerThreads::WorkerThreads(RunLoop& runLoop, std::size_t count)
    : state_(std::make_shared<State>(runLoop, count)) {}

WorkerThreads::~WorkerThreads() {
  CMutexLock lock(state_->mutex);
  state_->finishing = true;
  state_->tasks.clear();
  state_->changed.NotifyAll();
}

void WorkerThreads::Run(Task task) { (void)state_->Take(task, true); }

bool WorkerThreads::TryRun(Task& task) { return state_->Take(task, false); }

bool WorkerThreads::State::Take(Task& task, bool mayWait) {
  CMutexLock lock(mutex);
  if (finishing) return true;
  const bool refused = idle <= tasks.size() && !Hire();
  if (refused && threads == 0 && !mayWait) return false;
  tasks.push_back(std::move(task));
  changed.NotifyAll();
  if (refused) RetryLater();
  return true;
}

bool WorkerThreads::State::Hire() {
  if (threads == limit) return true;
  try {
    std::thread([state = shared_from_this()] { state->Work(); }).detach();
    ++threads;
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

// Without a retry what waits would wait for the next task, and who hands those over one at a time
// for ever. Behind threads at work, too, as they may be long at it.
void WorkerThreads::State::RetryLater() {
  if (retryDue) return;
  runLoop.Post([weak = weak_from_this()] {
    if (const auto state = weak.lock()) state->StartRetryTimer();
  });
  retryDue = true;
}

void WorkerThreads::State::StartRetryTimer() {
  CMutexLock lock(mutex);
  if (finishing) return;
  runLoop.After(kRetryInterval, [weak = weak_from_this()] {
    if (const auto state = weak.lock()) state->Retry();
  });
}

void WorkerThreads::State::Retry() {
  CMutexLock lock(mutex);
  retryDue = false;
  if (finishing) return;
  for (std::size_t waiting = tasks.size(); waiting > idle && threads < limit; --waiting) {
    if (!Hire()) return RetryLater();
  }
}

void WorkerThreads::State::Work() {
  CMutexLock lock(mutex);
  while (true) {
    const Clock::time_point end = Clock::now() + kIdleLife;
    ++idle;
    while (tasks.empty() && !finishing && Clock::now() < end) changed.WaitUntil(mutex, end);
    --idle;
    if (tasks.empty()) break;
    RunOldest();
  }
  --threads;
  changed.NotifyAll();
}

void WorkerThreads::State::RunOldest() {
  Task task = std::move(tasks.front());
  tasks.pop_front();
  mutex.Unlock();
  task();
  task = nullptr;  // what it holds is let go here, without the lock
  mutex.Lock();
}

bool WorkerThreads::Finish(std::chrono::milliseconds limit) {
  const Clock::time_point end = Clock::now() + limit;
  State& state = *state_;
  CMutexLock lock(state.mutex);
  state.finishing = true;
  state.changed.NotifyAll();
  while (state.threads == 0 && !state.tasks.empty() && Clock::now() < end) {
    if (state.Hire()) break;
    state.RunOldest();
  }
  while ((state.threads > 0 || !state.tasks.empty()) && Clock::now() < end) {
    state.changed.WaitUntil(state.mutex, end);
  }
  if (state.threads == 0 && state.tasks.empty()) return true;
  state.tasks.clear();
  return false;
}

}  // namespace kelvo
