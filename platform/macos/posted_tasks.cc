#include "platform/macos/posted_tasks.h"

#include <utility>

#include "base/guarded_call.h"

namespace kelvo {

bool PostedTasks::Add(Task task) {
  CMutexLock lock(mutex_);
  if (closed_) return false;
  tasks_.push_back(std::move(task));
  return !std::exchange(awake_, true);
}

PostedTasks::Task PostedTasks::Take(bool* wakeAgain) {
  CMutexLock lock(mutex_);
  Task task;
  if (!tasks_.empty()) {
    task = std::move(tasks_.front());
    tasks_.pop_front();
  }
  *wakeAgain = awake_ = !tasks_.empty();
  return task;
}

void PostedTasks::Close() {
  std::deque<Task> dropped;  // ends without the lock
  CMutexLock lock(mutex_);
  closed_ = true;
  dropped.swap(tasks_);
}

void RunPostedTask(PostedTasks& tasks, const std::function<void()>& wake) noexcept {
  bool wakeAgain = false;
  const PostedTasks::Task task = tasks.Take(&wakeAgain);
  if (wakeAgain) wake();
  if (task) CallGuarded("task of the main loop", task);
}

}  // namespace kelvo
