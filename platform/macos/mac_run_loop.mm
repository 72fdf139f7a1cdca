#include "platform/macos/mac_run_loop.h"

#import <AppKit/AppKit.h>

#include <algorithm>
#include <map>
#include <utility>

#include "base/guarded_call.h"
#include "platform/macos/objc_support.h"
#include "platform/macos/posted_tasks.h"
#include "platform/macos/run_loop_modes.h"

using kelvo::ExtensionRunLoopModes;
using kelvo::PostedTasks;

namespace {

constexpr NSTimeInterval kLongestTurn = 0.05;

struct LoopTimer {
  NSTimer* timer;  // kept by the run loop while it is valid
  bool repeats;
  std::shared_ptr<const std::function<void()>> task;
};
using LoopTimers = std::map<kelvo::RunLoop::TimerId, LoopTimer>;

}  // namespace

// What the platform's loop calls.
@interface KelvoLoopTarget : NSObject {
 @public
  PostedTasks* tasks_;
  LoopTimers* timers_;
}
- (void)wake;
- (void)runPostedTask;
- (void)timerFired:(NSTimer*)timer;
@end

@implementation KelvoLoopTarget

- (id)init {
  self = [super init];
  if (self != nil) {
    tasks_ = new PostedTasks;
    timers_ = new LoopTimers;
  }
  return self;
}

- (void)dealloc {
  delete timers_;
  delete tasks_;
  KELVO_OBJC_SUPER_DEALLOC();
}

- (void)wake {
  if ([NSThread isMainThread]) {
    // GNUstep's loop would not see the other way's request before something else is due.
    [self performSelector:@selector(runPostedTask)
               withObject:nil
               afterDelay:0
                  inModes:ExtensionRunLoopModes()];
    return;
  }
  [self performSelectorOnMainThread:@selector(runPostedTask)
                         withObject:nil
                      waitUntilDone:NO
                              modes:ExtensionRunLoopModes()];
}

- (void)runPostedTask {
  @autoreleasepool {
    kelvo::RunPostedTask(*tasks_, [self] { [self wake]; });
  }
}

- (void)timerFired:(NSTimer*)timer {
  @autoreleasepool {
    const auto found = timers_->find([[timer userInfo] unsignedLongLongValue]);
    if (found == timers_->end()) return;
    const std::shared_ptr<const std::function<void()>> task = found->second.task;
    if (!found->second.repeats) timers_->erase(found);
    kelvo::CallGuarded("timer of the main loop", *task);
  }
}

@end

namespace kelvo {

NSArray* ExtensionRunLoopModes() {
  return [NSArray arrayWithObjects:NSDefaultRunLoopMode, NSModalPanelRunLoopMode,
                                   NSEventTrackingRunLoopMode, nil];
}

struct MacRunLoop::Objects {
  KelvoLoopTarget* target = [[KelvoLoopTarget alloc] init];
  TimerId nextTimer = 1;

  TimerId StartTimer(std::chrono::milliseconds first, std::chrono::milliseconds interval,
                     std::function<void()> task);
};

MacRunLoop::MacRunLoop() : objects_(std::make_unique<Objects>()) {}

MacRunLoop::~MacRunLoop() {
  for (auto& [id, timer] : *objects_->target->timers_) [timer.timer invalidate];
  objects_->target->timers_->clear();
  objects_->target->tasks_->Close();
  KELVO_OBJC_RELEASE(objects_->target);
}

void MacRunLoop::Post(std::function<void()> task) {
  @autoreleasepool {
    if (objects_->target->tasks_->Add(std::move(task))) [objects_->target wake];
  }
}

RunLoop::TimerId MacRunLoop::Objects::StartTimer(std::chrono::milliseconds first,
                                                 std::chrono::milliseconds interval,
                                                 std::function<void()> task) {
  using Seconds = std::chrono::duration<NSTimeInterval>;
  const TimerId id = nextTimer++;
  @autoreleasepool {
    NSTimer* timer = KELVO_OBJC_AUTORELEASE([[NSTimer alloc]
        initWithFireDate:[NSDate dateWithTimeIntervalSinceNow:Seconds(first).count()]
                interval:Seconds(interval).count()
                  target:target
                selector:@selector(timerFired:)
                userInfo:[NSNumber numberWithUnsignedLongLong:id]
                 repeats:interval.count() != 0]);
    target->timers_->emplace(
        id, LoopTimer{timer, interval.count() != 0,
                      std::make_shared<const std::function<void()>>(std::move(task))});
    for (NSString* mode in ExtensionRunLoopModes()) {
      [[NSRunLoop mainRunLoop] addTimer:timer forMode:mode];
    }
  }
  return id;
}

RunLoop::TimerId MacRunLoop::After(std::chrono::milliseconds delay, std::function<void()> task) {
  return objects_->StartTimer(delay, std::chrono::milliseconds(0), std::move(task));
}

RunLoop::TimerId MacRunLoop::Every(std::chrono::milliseconds first,
                                   std::chrono::milliseconds interval, std::function<void()> task) {
  return objects_->StartTimer(first, std::max(interval, std::chrono::milliseconds(1)),
                              std::move(task));
}

void MacRunLoop::Cancel(TimerId id) {
  const auto found = objects_->target->timers_->find(id);
  if (found == objects_->target->timers_->end()) return;
  [found->second.timer invalidate];
  objects_->target->timers_->erase(found);
}

bool MacRunLoop::RunModal(const std::function<bool()>& isOver) {
  // A mode in which nothing is due does not wait.
  const TimerId waiting = After(std::chrono::hours(24 * 365), [] {});
  while (!isOver()) {
    @autoreleasepool {
      // A timer does not end a turn, so a turn ends by itself.
      [[NSRunLoop mainRunLoop] runMode:NSModalPanelRunLoopMode
                            beforeDate:[NSDate dateWithTimeIntervalSinceNow:kLongestTurn]];
    }
  }
  Cancel(waiting);
  return true;
}

bool MacRunLoop::IsCurrent() const { return [NSThread isMainThread]; }

}  // namespace kelvo
