#include "agent/agent_event_dispatcher.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "base/notification_center.h"

namespace kelvo::test {
namespace {

constexpr Selector kOne{"one"};
constexpr Selector kTwo{"two"};

class AgentEventDispatcherTest : public ::testing::Test {
 protected:
  class Receiver : public AgentEventReceiver {
   public:
    Receiver(std::string name, std::string& trace) : name_(std::move(name)), trace_(trace) {}
    void performSelector(Selector selector, const PropertyList::Dictionary& userInfo) override {
      trace_ += name_ + "." + std::string(selector.name) +
                (FindValue(userInfo, "event_name") == nullptr ? "?" : "") + " ";
      if (onCall) onCall();
    }
    std::function<void()> onCall;

   private:
    const std::string name_;
    std::string& trace_;
  };

  // What one event of the name calls, in order.
  std::string Dispatch(const std::string& name = "e") {
    trace_.clear();
    NotificationCenter::LocalCenter().Post(kAgentEventName, kNotificationObject,
                                           {{"event_name", PropertyList(name)}});
    return trace_;
  }

  std::string trace_;
  Receiver a_{"a", trace_}, b_{"b", trace_}, c_{"c", trace_}, d_{"d", trace_};
  AgentEventDispatcher dispatcher_;
};

TEST_F(AgentEventDispatcherTest, FirstRegistrationRunsFirstLaterOnesInReverse) {
  for (Receiver* receiver : {&a_, &b_, &c_}) dispatcher_.registerEventName("e", receiver, kOne);
  dispatcher_.registerEventName("other", &d_, kOne);
  EXPECT_EQ("a.one c.one b.one ", Dispatch());
  EXPECT_EQ("d.one ", Dispatch("other"));
  EXPECT_EQ("", Dispatch("unknown"));
}

TEST_F(AgentEventDispatcherTest, UnregisteringATargetRemovesAllItsNodes) {
  for (Receiver* receiver : {&a_, &b_, &a_, &a_}) {
    dispatcher_.registerEventName("e", receiver, kOne);
  }
  dispatcher_.registerEventName("other", &a_, kOne);
  dispatcher_.unregisterEventName("e", &a_);
  EXPECT_EQ("b.one ", Dispatch());
  EXPECT_EQ("a.one ", Dispatch("other"));
  dispatcher_.unregisterEventName("e", &b_);
  dispatcher_.unregisterEventName("e", &b_);
  EXPECT_EQ("", Dispatch());
  for (Receiver* receiver : {&b_, &a_}) dispatcher_.registerEventName("e", receiver, kOne);
  dispatcher_.unregisterTarget(&a_);
  EXPECT_EQ("b.one ", Dispatch());
  EXPECT_EQ("", Dispatch("other"));
}

TEST_F(AgentEventDispatcherTest, UnregisteringASelectorRemovesOneNodeTheHeadLast) {
  for (Receiver* receiver : {&a_, &a_, &b_}) dispatcher_.registerEventName("e", receiver, kOne);
  dispatcher_.registerEventName("e", &a_, kTwo);
  EXPECT_EQ("a.one a.two b.one a.one ", Dispatch());
  dispatcher_.unregisterEventName("e", &a_, kOne);
  EXPECT_EQ("a.one a.two b.one ", Dispatch());
  dispatcher_.unregisterEventName("e", &a_, kOne);
  dispatcher_.unregisterEventName("e", &b_, kTwo);
  EXPECT_EQ("a.two b.one ", Dispatch());
}

TEST_F(AgentEventDispatcherTest, ChainMayChangeWhileItIsCalled) {
  for (Receiver* receiver : {&a_, &b_, &c_}) dispatcher_.registerEventName("e", receiver, kOne);
  a_.onCall = [this] {
    dispatcher_.registerEventName("e", &d_, kOne);
    for (Receiver* receiver : {&b_, &a_}) dispatcher_.unregisterTarget(receiver);
  };
  EXPECT_EQ("a.one c.one ", Dispatch());
  EXPECT_EQ("d.one c.one ", Dispatch());

  // Removed and registered again is a new registration.
  d_.onCall = [this] {
    dispatcher_.unregisterTarget(&c_);
    dispatcher_.registerEventName("e", &c_, kTwo);
  };
  EXPECT_EQ("d.one ", Dispatch());
}

TEST_F(AgentEventDispatcherTest, LongChainIsFreed) {
  for (int i = 0; i < 200'000; ++i) dispatcher_.registerEventName("e", &a_, kOne);
}

}  // namespace
}  // namespace kelvo::test
