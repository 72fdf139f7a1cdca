#include "agent/notifications_bridge.h"

#include <thread>
#include <utility>
#include <vector>

#include "agent/keyed_archive.h"
#include "tests/support/fixture.h"

namespace kelvo::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

class NotificationsBridgeTest : public Fixture, protected NotificationsBridgeDelegate {
 protected:
  ~NotificationsBridgeTest() override { DeallocBridge(); }

  void Initialize() {
    InitializeBridge("com.kelvo.vip.kelvoFinderSync", nullptr, this, fake_.transport, fake_.runLoop,
                     fake_.clock, &fake_.messageQueue);
  }
  // As Initialize, while the Agent is there.
  void Open() {
    fake_.transport.present = true;
    Initialize();
  }
  void communicationInitiatized() override { NotifyAgentEvent("0", "opening"); }
  void communicationEnded() override { ++ends_; }

  // What was sent since the last call: event names, and the names of other messages.
  std::string Sent() {
    std::string text;
    for (; seen_ < fake_.transport.sent.size(); ++seen_) {
      const auto& message = fake_.transport.sent[seen_];
      const PropertyList* event = FindValue(message.info, "event_name");
      text += (event == nullptr ? message.name : event->ToText().value_or("")) + " ";
    }
    return text;
  }
  // A connection that has lasted, and on which the Agent has spoken.
  void Converse() {
    fake_.runLoop.Advance(seconds{2});
    fake_.transport.Deliver("anything", {});
  }

  int ends_ = 0;
  std::size_t seen_ = 0;
};

TEST_F(NotificationsBridgeTest, LooksForAnAbsentAgentEveryFiveSeconds) {
  SetLogLevel(4);
  Initialize();
  EXPECT_EQ(1, fake_.transport.lookups);
  EXPECT_EQ("com.kelvo.vip.kelvoFinderSync", fake_.transport.lookedUpName);
  EXPECT_EQ(1, LogCount("start communication, ID com.kelvo.vip.kelvoFinderSync"));
  fake_.runLoop.Advance(seconds{15});
  EXPECT_EQ(4, fake_.transport.lookups);

  // A message looks once more, is lost without a word, and starts the five seconds anew.
  fake_.runLoop.Advance(seconds{4});
  NotifyAgentEvent("0", "lost");
  EXPECT_EQ(5, fake_.transport.lookups);
  fake_.runLoop.Advance(milliseconds{4999});
  EXPECT_EQ(5, fake_.transport.lookups);
  fake_.transport.present = true;
  fake_.runLoop.Advance(milliseconds{1});
  EXPECT_EQ("init_com opening ", Sent());
  EXPECT_TRUE(IsBridgeConnected());
  fake_.runLoop.Advance(seconds{60});
  EXPECT_EQ(6, fake_.transport.lookups);
  EXPECT_EQ(0, LogCount("message port"));
}

TEST_F(NotificationsBridgeTest, MessagesOfOtherThreadsLeaveOnTheLoopInOrder) {
  Initialize();
  std::thread([] {
    for (int i = 0; i < 600; ++i) NotifyAgentEvent("0", std::to_string(i).c_str());
  }).join();
  EXPECT_EQ(1, fake_.transport.lookups);
  fake_.transport.present = true;
  NotifyAgentEvent("0", "last");
  fake_.runLoop.RunPosted();
  std::string expected = "init_com opening ";
  for (int i = 0; i < 600; ++i) expected += std::to_string(i) + " ";
  EXPECT_EQ(expected + "last ", Sent());
}

TEST_F(NotificationsBridgeTest, WaitingMessagesAreBounded) {
  Open();
  const std::string large(3 << 20, 'x');
  std::thread([&] {
    for (int i = 0; i < 3; ++i) NotifyAgentEvent("0", "e", {{"text", large.c_str()}});
  }).join();
  fake_.runLoop.RunPosted();
  EXPECT_EQ(1U + 2U, fake_.transport.sent.size());
  EXPECT_EQ(1, LogCount("message port send failed"));
}

TEST_F(NotificationsBridgeTest, LostAgentIsLookedForAtOnceUnlessItOnlyHangsUp) {
  Open();
  Converse();
  Sent();
  fake_.transport.Invalidate();
  EXPECT_EQ(1, LogCount("port is invalid: fake port"));
  EXPECT_EQ(1, ends_);
  EXPECT_EQ("init_com opening ", Sent());
  for (int i = 0; i < 2; ++i) fake_.transport.Invalidate();
  EXPECT_EQ("init_com opening init_com opening ", Sent());
  for (int i = 0; i < 2; ++i) {
    fake_.transport.Invalidate();
    EXPECT_EQ("", Sent());
    fake_.runLoop.Advance(seconds{1});
    EXPECT_EQ("init_com opening ", Sent());
  }
  Converse();
  fake_.transport.Invalidate();
  EXPECT_EQ("init_com opening ", Sent());

  Converse();
  fake_.transport.present = false;
  fake_.transport.Invalidate();
  EXPECT_FALSE(IsBridgeConnected());
  const int lookups = fake_.transport.lookups;
  fake_.runLoop.Advance(seconds{5});
  EXPECT_EQ(lookups + 1, fake_.transport.lookups);
}

TEST_F(NotificationsBridgeTest, SendExceptionWaitsThreeSeconds) {
  Open();
  Sent();
  fake_.transport.RaiseOnSend("Broken pipe");
  EXPECT_EQ(1, LogCount("message port send exception: Broken pipe"));
  EXPECT_EQ(1, ends_);
  fake_.runLoop.Advance(milliseconds{2999});
  EXPECT_EQ("", Sent());
  fake_.runLoop.Advance(milliseconds{1});
  EXPECT_EQ("init_com opening ", Sent());
}

TEST_F(NotificationsBridgeTest, FloodOfSendFailuresDoesNotFillTheLog) {
  Open();
  for (int i = 0; i < 2500; ++i) fake_.transport.FailSend();
  EXPECT_EQ(3, LogCount("message port send failed"));
  EXPECT_EQ(1, LogCount("message port send failed (2000 messages in a row)"));
  EXPECT_TRUE(IsBridgeConnected());
  fake_.runLoop.Advance(seconds{61});
  fake_.transport.FailSend();
  EXPECT_EQ(4, LogCount("message port send failed"));
}

TEST_F(NotificationsBridgeTest, MessageThatDoesNotDecodeIsSkippedAndAnObserverMayEndTheBridge) {
  Open();
  AgentObserver observer;
  RegisterAgentEventObserver(&observer, nullptr,
                             [](void*, const char*, const std::string*,
                                const PropertyList::Dictionary&) { DeallocBridge(); });
  fake_.transport.DeliverRaw(kAgentEventName, "garbage");
  fake_.transport.DeliverRaw("\xFF", EncodeKeyedArchive({}));
  EXPECT_EQ(2, LogCount("of the Agent skipped"));
  EXPECT_EQ(1, LogCount("not a binary property list"));
  fake_.transport.DeliverRaw(std::string(1'000'000, '\1'), "garbage");
  EXPECT_LT(fake_.systemLog.Lines().back().text.size(), 2000U) << "the name is as long as it likes";
  EXPECT_TRUE(IsBridgeConnected());
  fake_.transport.DeliverEvent("end");
  RemoveAgentObserver(&observer);
  EXPECT_FALSE(fake_.transport.Connected());
  NotifyAgentEvent("0", "nobody");
  fake_.runLoop.Advance(seconds{10});
  EXPECT_EQ(1, fake_.transport.lookups);
}

class Receiver : public AgentNotificationReceiver {
 public:
  std::vector<std::string> calls;

 private:
  void notifyAgentEvent(const std::string* eventName, const PropertyList::Dictionary& userInfo,
                        const char* agentID) override {
    calls.push_back("event " + (eventName == nullptr ? "null" : *eventName) + " " +
                    std::to_string(userInfo.size()) + " " + agentID);
  }
  void notifyConnectionStatus(int status, std::int64_t timestamp, const char* agentID) override {
    calls.push_back("status " + std::to_string(status) + " " + std::to_string(timestamp) + " " +
                    agentID);
  }
  void notifyAgentSettings(int hint, const char* agentID) override {
    calls.push_back("settings " + std::to_string(hint) + " " + agentID);
  }
};

TEST_F(NotificationsBridgeTest, ObserversGetTheirMessagesDecoded) {
  Open();
  fake_.clock.SetWallClock(1'474'634'018);
  Receiver receiver;
  auto* const target = static_cast<AgentNotificationReceiver*>(&receiver);
  AgentObserver events, states, settings;
  RegisterAgentEventObserver(&events, target, ForwardAgentEvent);
  RegisterConnectionStatusObserver(&states, target, ForwardConnectionStatus);
  RegisterAgentSettingsObserver(&settings, target, ForwardAgentSettingsEvent);

  const std::pair<const char*, PropertyList::Dictionary> messages[] = {
      {kAgentEventName, {{"event_name", PropertyList("x")}}},
      {kAgentEventName, {}},
      {kConnectionStatusName, {{"status", PropertyList(4)}, {"timestamp", PropertyList(99)}}},
      {kConnectionStatusName, {{"status", PropertyList("1")}}},
      {kConnectionStatusName, {{"timestamp", PropertyList(99)}}},
      {kSettingsChangedName, {{"hint", PropertyList(3)}}},
      {kSettingsChangedName, {}}};
  for (const auto& [name, info] : messages) fake_.transport.Deliver(name, info);
  const std::vector<std::string> expected = {"event x 1 0",   "event null 0 0",
                                             "status 4 99 0", "status 1 1474634018 0",
                                             "settings 3 0",  "settings 65159 0"};
  EXPECT_EQ(expected, receiver.calls);
  for (AgentObserver* observer : {&events, &states, &settings}) RemoveAgentObserver(observer);
  fake_.transport.DeliverEvent("nobody's");
  EXPECT_EQ(expected, receiver.calls);
}

TEST_F(NotificationsBridgeTest, NullValueEndsTheArgumentsAndWhatIsNotTextIsNotSent) {
  Open();
  NotifyAgentEvent("0", "e", {{"a", "1"}, {"b", nullptr}, {"c", "3"}});
  NotifyAgentEvent("0", "e", {{"a", "1"}, {"a", "2"}, {nullptr, nullptr}, {"c", "3"}});
  EXPECT_EQ(1, LogCount("NotifyAgentEvent: NULL value for key b; skipping."));
  PropertyList::Dictionary expected = {{"event_name", PropertyList("e")}, {"a", PropertyList("1")}};
  EXPECT_EQ(expected, fake_.transport.sent.at(1).info);
  expected["a"] = PropertyList("2");
  EXPECT_EQ(expected, fake_.transport.sent.at(2).info);

  Sent();
  NotifyAgentEvent("0", "e", {{"path", "/a\xFF"}});
  NotifyAgentEvent("0", "\xC3");
  EXPECT_EQ("", Sent());
  EXPECT_EQ(2, LogCount("holds a text that is not UTF-8"));
}

TEST_F(NotificationsBridgeTest, LargeMessagesAreDecodedAsideWhileTheAgentWaits) {
  Open();
  std::string posted;
  AgentObserver observer;
  RegisterAgentEventObserver(
      &observer, &posted,
      [](void* target, const char*, const std::string* event,
         const PropertyList::Dictionary& info) {
        *static_cast<std::string*>(target) +=
            *event + " " + std::to_string(FindValue(info, "text")->AsString()->size()) + " ";
      });
  std::string prepared;
  SetMessagePreparer([&](const std::string& name, const PropertyList::Dictionary& info) {
    EXPECT_EQ(kAgentEventName, name);
    prepared += *FindValue(info, "event_name")->AsString() + " ";
  });
  fake_.messageQueue.Hold(true);
  const auto deliver = [&](const char* event, std::size_t size) {
    fake_.transport.DeliverEvent(event, {{"text", PropertyList(std::string(size, 'x'))}});
  };
  deliver("small", 1000);
  EXPECT_EQ("small 1000 ", posted);
  EXPECT_FALSE(fake_.transport.paused);
  deliver("large", 2'000'000);
  EXPECT_TRUE(fake_.transport.paused);
  fake_.messageQueue.RunAll();
  EXPECT_EQ("large ", prepared) << "before it is posted";
  EXPECT_EQ("small 1000 ", posted);
  fake_.runLoop.RunPosted();
  EXPECT_EQ("small 1000 large 2000000 ", posted);
  EXPECT_FALSE(fake_.transport.paused);

  // An Agent that comes meanwhile waits, too.
  deliver("last", 2'000'000);
  fake_.transport.Invalidate();
  EXPECT_TRUE(IsBridgeConnected() && fake_.transport.paused);
  HoldAgentMessages();
  fake_.messageQueue.RunAll();
  fake_.runLoop.RunPosted();
  EXPECT_TRUE(posted.ends_with("last 2000000 ")) << posted;
  EXPECT_TRUE(fake_.transport.paused) << "an observer has not done";
  ReleaseAgentMessages();
  EXPECT_FALSE(fake_.transport.paused);

  fake_.messageQueue.Refuse(true);
  deliver("alone", 2'000'000);
  EXPECT_TRUE(fake_.transport.paused);
  fake_.runLoop.RunPosted();
  EXPECT_TRUE(prepared.ends_with("alone ") && posted.ends_with("alone 2000000 ")) << posted;
  EXPECT_FALSE(fake_.transport.paused);
  SetMessagePreparer(nullptr);
  RemoveAgentObserver(&observer);
}

}  // namespace
}  // namespace kelvo::test
