#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "platform/clock.h"
#include "platform/run_loop.h"

namespace kelvo::fuzz {

// A loop with its clock, which stand still but for Turn. One thread.
class HandTurnedLoop : public RunLoop, public Clock {
 public:
  using Milliseconds = std::chrono::milliseconds;

  // Lets that much time pass, and then runs what is due, also of what that leaves behind.
  void Turn(Milliseconds step) {
    now_ += step;
    for (auto due = FirstDue(); due != tasks_.end(); due = FirstDue()) {
      const std::function<void()> task = std::move(due->task);
      tasks_.erase(due);
      task();
    }
  }

  void Post(std::function<void()> task) override { After(Milliseconds{0}, std::move(task)); }
  TimerId After(Milliseconds delay, std::function<void()> task) override {
    tasks_.push_back({++lastId_, now_ + delay, std::move(task)});
    return lastId_;
  }
  // Nothing that is fuzzed has work that recurs.
  TimerId Every(Milliseconds, Milliseconds, std::function<void()>) override { return ++lastId_; }
  void Cancel(TimerId id) override {
    std::erase_if(tasks_, [id](const Task& task) { return task.id == id; });
  }
  bool RunModal(const std::function<bool()>&) override { return false; }
  bool IsCurrent() const override { return true; }

  std::int64_t Now() const override { return kStart + now_.count() / 1000; }
  Milliseconds Monotonic() const override { return now_; }

 private:
  static constexpr std::int64_t kStart = 1'700'000'000;

  struct Task {
    TimerId id;
    Milliseconds due;
    std::function<void()> task;
  };
  std::vector<Task>::iterator FirstDue() {
    return std::find_if(tasks_.begin(), tasks_.end(),
                        [this](const Task& task) { return task.due <= now_; });
  }

  Milliseconds now_{0};
  std::vector<Task> tasks_;
  TimerId lastId_ = 0;
};

}  // namespace kelvo::fuzz
