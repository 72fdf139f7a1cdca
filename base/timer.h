#pragma once

#include <chrono>

#include "platform/run_loop.h"

namespace kelvo {

// Base of whatever a CTimer calls.
class CTarget {
 public:
  virtual ~CTarget() = default;
};

// A repeating timer of a run loop that calls one operation of one object.
//
// Threads: the run loop's. Lifetime: stops when destroyed; the target must outlive it.
class CTimer {
 public:
  CTimer() = default;
  ~CTimer();
  CTimer(const CTimer&) = delete;
  CTimer& operator=(const CTimer&) = delete;

  template <typename Target>
  void SetTarget(Target* target, void (Target::*handler)(CTimer*)) {
    target_ = target;
    handler_ = static_cast<void (CTarget::*)(CTimer*)>(handler);
  }

  // First fires after `first`, then every `interval`; replaces an earlier start.
  void Start(RunLoop& runLoop, std::chrono::milliseconds first, std::chrono::milliseconds interval);
  void Stop();
  bool IsRunning() const { return id_ != 0; }

 private:
  static void TimerHandler(CTimer* timer);

  RunLoop* runLoop_ = nullptr;
  RunLoop::TimerId id_ = 0;
  CTarget* target_ = nullptr;
  void (CTarget::*handler_)(CTimer*) = nullptr;
};

}  // namespace kelvo
