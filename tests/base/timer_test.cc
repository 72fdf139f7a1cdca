#include "base/timer.h"

#include <gtest/gtest.h>

#include "tests/support/fake_platform.h"

namespace kelvo {
namespace {

using std::chrono::seconds;

struct Counter : CTarget {
  void Count(CTimer* timer) {
    if (++count == stopAt) timer->Stop();
  }
  int count = 0;
  int stopAt = 3;
};

TEST(TimerTest, OneStartReplacesAnotherAndTheEndStopsIt) {
  test::FakeClock clock;
  test::FakeRunLoop runLoop{clock};
  Counter counter;
  {
    CTimer timer;
    timer.Start(runLoop, seconds{1}, seconds{1});
    runLoop.Advance(seconds{2});  // no target yet
    timer.SetTarget(&counter, &Counter::Count);
    timer.Start(runLoop, seconds{3}, seconds{10});
    runLoop.Advance(seconds{2});
    EXPECT_EQ(counter.count, 0);
    runLoop.Advance(seconds{11});
    EXPECT_EQ(counter.count, 2);
    runLoop.Advance(seconds{100});
    EXPECT_FALSE(timer.IsRunning());
    timer.Start(runLoop, seconds{1}, seconds{1});
  }
  runLoop.Advance(seconds{100});
  EXPECT_EQ(counter.count, 3);
}

}  // namespace
}  // namespace kelvo
