#include "platform/posix/thread_background_queue.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <latch>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "core/finder_sync.h"
#include "tests/support/fake_platform.h"
#include "tests/support/fixture.h"
#include "tests/support/no_threads.h"

namespace kelvo::test {
namespace {

constexpr std::chrono::seconds kLimit{20};

class ThreadBackgroundQueueTest : public ::testing::Test {
 protected:
  FakeClock clock_;
  FakeRunLoop runLoop_{clock_};
};

TEST_F(ThreadBackgroundQueueTest, FinishWaitsForEverythingInOrder) {
  ThreadBackgroundQueue queue(runLoop_);
  EXPECT_TRUE(ThreadBackgroundQueue(runLoop_).Finish(std::chrono::milliseconds{0}));
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

TEST_F(ThreadBackgroundQueueTest, FinishGivesUpAtItsLimitAndDropsTheRest) {
  ThreadBackgroundQueue queue(runLoop_);
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

TEST_F(ThreadBackgroundQueueTest, WithoutAThreadNothingIsLost) {
  ThreadBackgroundQueue queue(runLoop_);
  ThreadBackgroundQueue late(runLoop_);
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
  ThreadBackgroundQueue last(runLoop_);
  last.Async([&] { done += 'c'; });
  EXPECT_TRUE(last.Finish(kLimit));
  EXPECT_EQ("abc", done);
}

TEST_F(ThreadBackgroundQueueTest, WhatNoThreadWasMadeForIsBegunWithoutAnotherCall) {
  WorkerThreads threads(runLoop_, 2);
  std::latch release(1);
  std::promise<void> first;
  std::promise<void> second;
  const auto isBegun = [](std::promise<void>& task) {
    return task.get_future().wait_for(kLimit) == std::future_status::ready;
  };
  {
    const NoThreads none;
    threads.Run([&] {
      first.set_value();
      release.wait();
    });
    runLoop_.Advance(3 * WorkerThreads::kRetryInterval);
  }
  runLoop_.Advance(WorkerThreads::kRetryInterval);
  EXPECT_TRUE(isBegun(first));
  {
    const NoThreads none;
    threads.Run([&] { second.set_value(); });
  }
  runLoop_.Advance(WorkerThreads::kRetryInterval);
  EXPECT_TRUE(isBegun(second)) << "nor does it wait for the end of what is long at work";
  release.count_down();
  EXPECT_TRUE(threads.Finish(kLimit));
}

using FinderSyncWithoutThreadsTest = Fixture;

TEST_F(FinderSyncWithoutThreadsTest, TheStartGoesOnWhenThereAreSome) {
  fake_.transport.present = true;
  ThreadBackgroundQueue settings(fake_.runLoop);
  FinderSync extension(fake_.With(settings, fake_.finder),
                       std::make_shared<Bundle>(Home("bundle"), std::vector<std::string>{}),
                       nullptr);
  extension.init();
  {
    const NoThreads none;
    fake_.transport.DeliverEvent("configuration_updated");
    fake_.runLoop.RunPosted();
  }
  fake_.runLoop.Advance(WorkerThreads::kRetryInterval);
  const auto end = std::chrono::steady_clock::now() + kLimit;
  while (!extension.isStarted() && std::chrono::steady_clock::now() < end) {
    std::this_thread::yield();
    fake_.runLoop.RunPosted();
  }
  EXPECT_TRUE(extension.isStarted());
  extension.dealloc();
  EXPECT_TRUE(settings.Finish(kLimit));
}

}  // namespace
}  // namespace kelvo::test
