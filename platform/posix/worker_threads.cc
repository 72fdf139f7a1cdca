#include "platform/posix/worker_threads.h"

#include <condition_variable>
#include <deque>
#include <system_error>
#include <thread>
#include <utility>

namespace kelvo {
namespace {

constexpr std::chrono::seconds kIdleLife{5};

}  // namespace

struct WorkerThreads::State {
  explicit State(std::size_t count) : limit(count) {}

  const std::size_t limit;
  std::mutex mutex;
  std::condition_variable changed;
  std::deque<Task> tasks;   // this and all below: mutex
  std::size_t threads = 0;  // alive
  std::size_t idle = 0;     // of them, waiting for a task
  bool finishing = false;   // threads end when no task is left
};

WorkerThreads::WorkerThreads(std::size_t count) : state_(std::make_shared<State>(count)) {}

WorkerThreads::~WorkerThreads() {
  std::lock_guard lock(state_->mutex);
  state_->finishing = true;
  state_->tasks.clear();
  state_->changed.notify_all();
}

void WorkerThreads::Run(Task task) {
  std::lock_guard lock(state_->mutex);
  if (state_->finishing) return;
  HasTakerForOneMore(state_);
  state_->tasks.push_back(std::move(task));
  state_->changed.notify_all();
}

bool WorkerThreads::TryRun(Task& task) {
  std::lock_guard lock(state_->mutex);
  if (state_->finishing) return true;
  if (!HasTakerForOneMore(state_)) return false;
  state_->tasks.push_back(std::move(task));
  state_->changed.notify_all();
  return true;
}

bool WorkerThreads::HasTakerForOneMore(const std::shared_ptr<State>& state) {
  if (state->idle <= state->tasks.size() && state->threads < state->limit) {
    try {
      std::thread([state] { Work(state); }).detach();
      ++state->threads;
    } catch (const std::system_error&) {
      // No more threads to be had: those at work take the task.
    }
  }
  return state->threads > 0;
}

void WorkerThreads::Work(const std::shared_ptr<State>& state) {
  std::unique_lock lock(state->mutex);
  while (true) {
    ++state->idle;
    state->changed.wait_for(lock, kIdleLife,
                            [&] { return !state->tasks.empty() || state->finishing; });
    --state->idle;
    if (state->tasks.empty()) break;
    RunOldest(*state, lock);
  }
  --state->threads;
  state->changed.notify_all();
}

void WorkerThreads::RunOldest(State& state, std::unique_lock<std::mutex>& lock) {
  Task task = std::move(state.tasks.front());
  state.tasks.pop_front();
  lock.unlock();
  task();
  task = nullptr;  // what it holds is let go here, without the lock
  lock.lock();
}

bool WorkerThreads::Finish(std::chrono::milliseconds limit) {
  const auto end = std::chrono::steady_clock::now() + limit;
  std::unique_lock lock(state_->mutex);
  state_->finishing = true;
  state_->changed.notify_all();
  while (state_->threads == 0 && !state_->tasks.empty() && std::chrono::steady_clock::now() < end) {
    if (HasTakerForOneMore(state_)) break;
    RunOldest(*state_, lock);
  }
  const auto isDone = [this] { return state_->threads == 0 && state_->tasks.empty(); };
  if (state_->changed.wait_until(lock, end, isDone)) return true;
  state_->tasks.clear();
  return false;
}

}  // namespace kelvo
