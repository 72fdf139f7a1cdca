#pragma once

#include <deque>
#include <functional>

#include "base/mutex.h"

namespace kelvo {

// Tasks on their way to the main loop, which is woken once for each: a task that turns the loop
// itself must not keep those behind it from running inside.
//
// Threads: any.
class PostedTasks {
 public:
  using Task = std::function<void()>;

  // True when the loop has to be woken for it.
  bool Add(Task task);
  // Takes the oldest and sets `wakeAgain` when another wake is due for those behind it; null when
  // there is none.
  Task Take(bool* wakeAgain);
  // Nothing is taken or added any more.
  void Close();

 private:
  CMutex mutex_{kMutexNormal};
  std::deque<Task> tasks_ KELVO_GUARDED_BY(mutex_);
  bool awake_ KELVO_GUARDED_BY(mutex_) = false;
  bool closed_ KELVO_GUARDED_BY(mutex_) = false;
};

// Runs the oldest task, guarded; `wake` is called before when more are waiting.
void RunPostedTask(PostedTasks& tasks, const std::function<void()>& wake) noexcept;

}  // namespace kelvo
