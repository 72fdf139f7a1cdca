#include "base/notification_center.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace kelvo {
namespace {

class NotificationCenterTest : public ::testing::Test {
 protected:
  // Registers an observer that records its mark, then does `then`.
  void Observe(const int& mark, const std::string& name, const std::string& object = "",
               const std::function<void()>& then = nullptr) {
    center_.AddObserver(&mark, name, object, [this, &mark, then](const auto&, const auto&) {
      heard_.push_back(mark);
      if (then) then();
    });
  }
  std::vector<int> Post(const std::string& name, const std::string& object = "") {
    heard_.clear();
    center_.Post(name, object, {});
    return heard_;
  }
  using Heard = std::vector<int>;

  const int one_ = 1;
  const int two_ = 2;
  const int three_ = 3;
  Heard heard_;
  NotificationCenter center_;
};

TEST_F(NotificationCenterTest, NameAndSenderSelectInOrderOfRegistration) {
  Observe(two_, "event");
  Observe(one_, "event", "agent");
  Observe(three_, "other");
  EXPECT_EQ(Post("event", "agent"), (Heard{2, 1}));
  EXPECT_EQ(Post("event", "stranger"), (Heard{2}));
  EXPECT_EQ(Post("event"), (Heard{2}));
  center_.RemoveObserver(&one_, "");  // not the object it registered with
  EXPECT_EQ(Post("event", "agent"), (Heard{2, 1}));
  center_.RemoveObserver(&one_, "agent");
  EXPECT_EQ(Post("event", "agent"), (Heard{2}));
}

TEST_F(NotificationCenterTest, ObserverRemovedDuringAPostIsCalledNoMore) {
  auto life = std::make_shared<int>();
  Observe(one_, "event", "", [this, life] {
    center_.RemoveObserver(&one_, "");
    center_.RemoveObserver(&two_, "");
    EXPECT_GT(life.use_count(), 1);  // the callback that runs is still there
  });
  Observe(two_, "event");
  Observe(three_, "event");
  EXPECT_EQ(Post("event"), (Heard{1, 3}));
  EXPECT_EQ(life.use_count(), 1);
  EXPECT_EQ(Post("event"), (Heard{3}));
}

TEST_F(NotificationCenterTest, PostInsideAPostReachesWhoWasAddedBetween) {
  Observe(one_, "outer", "", [this] {
    Observe(two_, "outer");
    Observe(three_, "inner", "", [this] { center_.RemoveObserver(&one_, ""); });
    center_.Post("inner", "", {});
  });
  EXPECT_EQ(Post("outer"), (Heard{1, 3}));
  EXPECT_EQ(Post("outer"), (Heard{2}));
}

}  // namespace
}  // namespace kelvo
