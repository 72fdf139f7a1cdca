#include "platform/posix/thread_background_queue.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <latch>
#include <string>

namespace kelvo::test {
namespace {

constexpr std::chrono::seconds kLimit{20};

TEST(ThreadBackgroundQueueTest, FinishWaitsForEverythingInOrder) {
  ThreadBackgroundQueue queue;
  EXPECT_TRUE(ThreadBackgroundQueue().Finish(std::chrono::milliseconds{0}));
  std::string done;
  std::latch release(1);
  queue.Async([&] { release.wait(); });
  for (char c = 'a'; c <= 'z'; ++c) {
    queue.Async([&done, c] { done += c; });
  }
  release.count_down();
  ASSERT_TRUE(queue.Finish(kLimit));
  EXPECT_EQ("abcdefghijklmnopqrstuvwxyz", done);
}

TEST(ThreadBackgroundQueueTest, FinishGivesUpAtItsLimitAndDropsTheRest) {
  ThreadBackgroundQueue queue;
  std::promise<void> begun;
  std::latch release(1);
  bool ran = false;
  queue.Async([&] {
    begun.set_value();
    release.wait();
  });
  queue.Async([&] { ran = true; });
  begun.get_future().wait();
  EXPECT_FALSE(queue.Finish(std::chrono::milliseconds{10}));
  queue.Async([&] { ran = true; });
  release.count_down();
  EXPECT_TRUE(queue.Finish(kLimit));
  EXPECT_FALSE(ran);
}

}  // namespace
}  // namespace kelvo::test
