#include "platform/linux/glib_run_loop.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

namespace kelvo::test {
namespace {

using std::chrono::milliseconds;

class GlibRunLoopTest : public ::testing::Test {
 protected:
  GLibPtr<GMainContext> context_{g_main_context_new()};
  GlibRunLoop loop_{context_.get()};
  std::string trace_;
};

TEST_F(GlibRunLoopTest, LoopTurnedInsideATaskRunsTasksAndTimersOnce) {
  bool timerFired = false;
  loop_.After(milliseconds{1}, [&] { timerFired = true; });
  loop_.Post([&] {
    trace_ += "(";
    while (!timerFired || trace_.find('2') == std::string::npos) {
      g_main_context_iteration(context_.get(), TRUE);
    }
    trace_ += ")";
    loop_.Quit();
  });
  loop_.Post([&] { trace_ += "1"; });
  loop_.Post([&] { trace_ += "2"; });
  loop_.Run();
  EXPECT_EQ("(12)", trace_);
}

TEST_F(GlibRunLoopTest, TimersFireOnceOrRepeatUntilCancelled) {
  const RunLoop::TimerId cancelled = loop_.After(milliseconds{2}, [&] { trace_ += "never "; });
  loop_.Cancel(cancelled);
  loop_.After(milliseconds{1}, [&] { trace_ += "once "; });
  RunLoop::TimerId tick = 0;
  int ticks = 0;
  tick = loop_.Every(milliseconds{5}, milliseconds{5}, [&] {
    trace_ += "tick ";
    if (++ticks < 3) return;
    loop_.Cancel(tick);  // from inside its own task
    loop_.After(milliseconds{30}, [&] { loop_.Quit(); });
  });
  loop_.Run();
  EXPECT_EQ("once tick tick tick ", trace_);
  loop_.Cancel(tick);
}

TEST_F(GlibRunLoopTest, OtherThreadsPostInOrderAndAreNotTheLoops) {
  std::thread other([this] {
    EXPECT_FALSE(loop_.IsCurrent());
    for (char c = 'a'; c <= 'z'; ++c) {
      loop_.Post([this, c] { trace_ += c; });
    }
    loop_.Post([this] {
      EXPECT_TRUE(loop_.IsCurrent());
      loop_.Quit();
    });
  });
  loop_.Run();
  other.join();
  EXPECT_EQ("abcdefghijklmnopqrstuvwxyz", trace_);
  loop_.Quit();
  loop_.Run();  // ended before it began
}

}  // namespace
}  // namespace kelvo::test
