#include "hosts/bus/call_lanes.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <latch>
#include <mutex>
#include <new>
#include <string>
#include <vector>

#include "tests/support/fixture.h"
#include "tests/support/no_threads.h"

namespace kelvo::test {
namespace {

constexpr std::chrono::seconds kLimit{20};

class CallLanesTest : public Fixture {
 protected:
  ~CallLanesTest() override { EXPECT_TRUE(lanes_.Finish(kLimit)); }

  // Waits until all that was handed over for the client before has run.
  [[nodiscard]] bool Settle(const std::string& client) {
    std::promise<void> done;
    auto reached = done.get_future();
    lanes_.Run(client, [&] { done.set_value(); });
    return reached.wait_for(kLimit) == std::future_status::ready;
  }
  void Note(const std::string& what) {
    std::lock_guard lock(mutex_);
    notes_.push_back(what);
  }

  std::latch release_{1};
  std::mutex mutex_;
  std::vector<std::string> notes_;
  CallLanes lanes_{fake_.runLoop};
};

TEST_F(CallLanesTest, CallsOfOneClientKeepTheirOrder) {
  std::vector<std::string> expected;
  for (int i = 0; i < 2000; ++i) {
    expected.push_back(std::to_string(i));
    lanes_.Run("a", [this, i] { Note(std::to_string(i)); });
  }
  ASSERT_TRUE(Settle("a"));
  EXPECT_EQ(expected, notes_);
}

TEST_F(CallLanesTest, BadgesWaitNeitherForAnotherClientNorForMenus) {
  lanes_.Run("slow", [this] { release_.wait(); });
  // More menus than there are workers for them.
  for (int i = 0; i < 10; ++i) {
    lanes_.RunMenu("client" + std::to_string(i), [this] { release_.wait(); });
  }
  for (int i = 0; i < 10; ++i) EXPECT_TRUE(Settle("client" + std::to_string(i)));
  release_.count_down();
}

TEST_F(CallLanesTest, AMenuComesAfterTheCallsBeforeItAndAfterTheClientsOlderMenus) {
  std::promise<void> second;
  lanes_.Run("a", [&] {
    release_.wait();
    Note("call");
  });
  lanes_.RunMenu("a", [&] { Note("menu 1"); });
  lanes_.RunMenu("a", [&] {
    Note("menu 2");
    second.set_value();
  });
  release_.count_down();
  ASSERT_EQ(std::future_status::ready, second.get_future().wait_for(kLimit));
  EXPECT_EQ((std::vector<std::string>{"call", "menu 1", "menu 2"}), notes_);
}

TEST_F(CallLanesTest, NeitherAMomentWithoutThreadsNorACallThatThrowsHoldsItsClient) {
  std::promise<void> menu;
  {
    const NoThreads none;
    lanes_.Run("a", [] { throw std::bad_alloc(); });
    lanes_.Run("a", [this] { Note("call"); });
    lanes_.RunMenu("a", [&] {
      Note("menu");
      menu.set_value();
    });
  }
  fake_.runLoop.Advance(WorkerThreads::kRetryInterval);
  ASSERT_EQ(std::future_status::ready, menu.get_future().wait_for(kLimit));
  EXPECT_EQ((std::vector<std::string>{"call", "menu"}), notes_);
  EXPECT_EQ(1, LogCount("a call of the bus failed: std::bad_alloc"));
}

}  // namespace
}  // namespace kelvo::test
