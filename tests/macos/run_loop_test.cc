#include <gtest/gtest.h>

#include <chrono>
#include <stdexcept>
#include <thread>

#include "platform/macos/mac_run_loop.h"
#include "tests/macos/stand_ins/finder.h"

namespace kelvo::test {
namespace {

using std::chrono::milliseconds;

TEST(MacRunLoopTest, RunsTasksInOrderAlsoInsideATask) {
  MacRunLoop loop;
  std::string ran;
  bool over = false;
  EXPECT_TRUE(loop.IsCurrent());
  loop.Post([&] {
    ran += "1";
    loop.Post([&] { ran += "4"; });
    loop.After(milliseconds(1), [&] { over = true; });
    EXPECT_TRUE(loop.RunModal([&] { return over && ran.size() == 4; }));
    ran += "5";
  });
  loop.Post([&] { ran += "2"; });
  loop.Post([&] {
    ran += "3";
    throw std::runtime_error("a task's own fault");
  });
  ASSERT_TRUE(Finder::TurnUntil([&] { return ran == "12345"; })) << ran;
  std::thread([&] {
    EXPECT_FALSE(loop.IsCurrent());
    loop.Post([&] { ran.clear(); });
  }).join();
  EXPECT_TRUE(Finder::TurnUntil([&] { return ran.empty(); }));
}

TEST(MacRunLoopTest, TimersBeatUntilTheyAreCancelled) {
  int beats = 0;
  int late = 0;
  {
    MacRunLoop loop;
    RunLoop::TimerId timer = 0;
    timer = loop.Every(milliseconds(1), milliseconds(2), [&] {
      if (++beats == 3) loop.Cancel(timer);
    });
    const RunLoop::TimerId never = loop.After(milliseconds(1), [&] { ++late; });
    loop.Cancel(never);
    loop.Cancel(never);
    bool over = false;
    loop.After(milliseconds(100), [&] { over = true; });
    ASSERT_TRUE(Finder::TurnUntil([&] { return over && beats >= 3; }));
    loop.After(milliseconds(1), [&] { ++late; });
    loop.Post([&] { ++late; });
  }
  MacRunLoop other;
  bool over = false;
  other.After(milliseconds(50), [&] { over = true; });
  ASSERT_TRUE(Finder::TurnUntil([&] { return over; }));
  EXPECT_EQ(beats, 3);
  EXPECT_EQ(late, 0) << "cancelled, or of a loop that is gone";
}

}  // namespace
}  // namespace kelvo::test
