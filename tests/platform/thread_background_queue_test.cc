#include "platform/posix/thread_background_queue.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <future>
#include <latch>
#include <string>

namespace kelvo::test {
namespace {

constexpr std::chrono::seconds kLimit{20};

// While it lives no thread can be made, since none gets a stack.
class NoThreads {
 public:
  NoThreads() {
    pthread_getattr_default_np(&former_);
    pthread_attr_t attributes;
    pthread_getattr_default_np(&attributes);
    pthread_attr_setstacksize(&attributes, std::size_t{1} << 50);
    pthread_setattr_default_np(&attributes);
    pthread_attr_destroy(&attributes);
  }
  ~NoThreads() {
    pthread_setattr_default_np(&former_);
    pthread_attr_destroy(&former_);
  }

 private:
  pthread_attr_t former_;
};

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

TEST(ThreadBackgroundQueueTest, WithoutAThreadNothingIsLost) {
  ThreadBackgroundQueue queue;
  ThreadBackgroundQueue late;
  std::string done;
  std::function<void()> work = [&] { done += 'b'; };
  {
    const NoThreads none;
    queue.Async([&] { done += 'a'; });
    EXPECT_FALSE(queue.TryAsync(work));
    EXPECT_TRUE(work != nullptr);
    late.Async([&] { done += 'd'; });
    EXPECT_FALSE(late.Finish(std::chrono::milliseconds{0}));
  }
  EXPECT_TRUE(queue.TryAsync(work));
  ASSERT_TRUE(queue.Finish(kLimit));
  EXPECT_EQ("ab", done);

  const NoThreads none;
  ThreadBackgroundQueue last;
  last.Async([&] { done += 'c'; });
  EXPECT_TRUE(last.Finish(kLimit));
  EXPECT_EQ("abc", done);
}

}  // namespace
}  // namespace kelvo::test
