#include "platform/linux/thread_background_queue.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <latch>
#include <vector>

namespace kelvo::test {
namespace {

constexpr std::chrono::seconds kLimit{20};

TEST(ThreadBackgroundQueueTest, FinishWaitsForEverythingInOrder) {
  ThreadBackgroundQueue queue;
  std::vector<int> done;
  std::latch release(1);
  queue.Async([&] { release.wait(); });
  for (int i = 0; i < 100; ++i) {
    queue.Async([&done, i] { done.push_back(i); });
  }
  release.count_down();
  ASSERT_TRUE(queue.Finish(kLimit));
  ASSERT_EQ(100U, done.size());
  for (int i = 0; i < 100; ++i) EXPECT_EQ(i, done[static_cast<std::size_t>(i)]);
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

TEST(ThreadBackgroundQueueTest, FinishWithoutWorkAnswersAtOnce) {
  ThreadBackgroundQueue queue;
  EXPECT_TRUE(queue.Finish(std::chrono::milliseconds{0}));
}

}  // namespace
}  // namespace kelvo::test
