#include <signal.h>

#include <chrono>
#include <deque>

#include "agent/keyed_archive.h"
#include "agent/notifications_bridge.h"
#include "platform/macos/mac_run_loop.h"
#include "platform/macos/mach_agent_transport.h"
#include "tests/macos/mac_fixture.h"

namespace kelvo::test {
namespace {

using std::chrono::seconds;
using SteadyClock = std::chrono::steady_clock;

constexpr char kName[] = "com.kelvo.vip.kelvoFinderSync";

class ChannelTest : public MacExtension, public AgentPortDelegate {
 protected:
  void handlePortMessage(AgentPort& /*port*/, std::string name, std::string archive) override {
    EXPECT_TRUE(loop_.IsCurrent());
    received_.push_back({std::move(name), std::move(archive)});
  }
  void handleInvalidPort(AgentPort& /*port*/) override {
    ++invalid_;
    port_.reset();
  }
  void handleSendFailure(AgentPort& /*port*/) override { ++failures_; }
  void handleSendException(AgentPort& /*port*/, const std::string& description) override {
    raised_.push_back(description);
    port_.reset();
  }

  void Connect() {
    StartAgent();
    port_ = transport_.portForName(kName, *this);
    ASSERT_NE(port_, nullptr);
  }
  void AskForList(const std::string& path) {
    port_->Send(kAgentEventName, EncodeKeyedArchive({{"event_name", PropertyList("sync_request")},
                                                     {"command", PropertyList("status-list")},
                                                     {"path", PropertyList(path)}}));
  }

  // Outlives what is still being sent.
  static MacRunLoop& Loop() {
    static auto* loop = new MacRunLoop;
    return *loop;
  }

  MacRunLoop& loop_ = Loop();
  MachAgentTransport transport_{loop_};
  std::unique_ptr<AgentPort> port_;
  std::vector<std::pair<std::string, std::string>> received_;
  int invalid_ = 0;
  int failures_ = 0;
  std::vector<std::string> raised_;
};

TEST_F(ChannelTest, CarriesMessagesOfAnySizeInOrder) {
  EXPECT_EQ(transport_.portForName(kName, *this), nullptr) << "no Agent yet";
  Connect();
  port_->Send(kInitComName, EncodeKeyedArchive({}));
  for (int i = 0; i < 100; ++i) AskForList("/w/" + std::to_string(i));
  AskForList("/w/many");
  ASSERT_TRUE(Finder::TurnUntil([&] { return received_.size() == 101; }));
  const std::vector<std::string> notes = AgentNotes();
  ASSERT_EQ(notes.size(), 103u);
  EXPECT_EQ(notes[1], kInitComName);
  for (std::size_t i = 0; i < 100; ++i) {
    EXPECT_EQ(notes[i + 2], "sync_request status-list /w/" + std::to_string(i));
  }
  const auto info = DecodeKeyedArchive(received_.back().second, nullptr);
  ASSERT_TRUE(info);
  EXPECT_EQ(received_.back().first, kAgentEventName);
  EXPECT_GT(FindValue(*info, "list")->AsString()->size(), 5'000'000u);
  EXPECT_EQ(port_->OutgoingBytes(), 0u);
}

TEST_F(ChannelTest, NoticesTheAgentsDeathAndItsReturn) {
  Connect();
  AskForList("/w");
  ASSERT_TRUE(Finder::TurnUntil([&] { return received_.size() == 1; }));
  SignalAgent(SIGKILL);
  ASSERT_TRUE(Finder::TurnUntil([&] { return invalid_ == 1; }));
  EXPECT_EQ(transport_.portForName(kName, *this), nullptr);
  Connect();
  AskForList("/w");
  ASSERT_TRUE(Finder::TurnUntil([&] { return received_.size() == 2; }));
  EXPECT_EQ(invalid_, 1);
  port_.reset();
  SignalAgent(SIGKILL);
  bool turned = false;
  loop_.After(std::chrono::milliseconds(200), [&] { turned = true; });
  ASSERT_TRUE(Finder::TurnUntil([&] { return turned; }));
  EXPECT_EQ(invalid_, 1) << "a port that is gone tells nothing";
}

TEST_F(ChannelTest, APausedPortTellsNothingOfItsEnd) {
  Connect();
  AskForList("/w");
  ASSERT_TRUE(Finder::TurnUntil([&] { return received_.size() == 1; }));
  port_->Pause(true);
  SignalAgent(SIGKILL);
  AskForList("/w");
  bool turned = false;
  loop_.After(std::chrono::milliseconds(500), [&] { turned = true; });
  ASSERT_TRUE(Finder::TurnUntil([&] { return turned; }));
  EXPECT_EQ(invalid_ + static_cast<int>(raised_.size()), 0);
  port_->Pause(false);
  ASSERT_TRUE(Finder::TurnUntil([&] { return port_ == nullptr; }));
}

TEST_F(ChannelTest, AStoppedAgentHoldsNobodyUp) {
  Connect();
  AskForList("/w");
  ASSERT_TRUE(Finder::TurnUntil([&] { return received_.size() == 1; }));
  SignalAgent(SIGSTOP);
  const auto start = SteadyClock::now();
  const std::string large(6 << 20, 'x');
  for (int i = 0; i < 4; ++i) port_->Send("large", large);
  ASSERT_TRUE(Finder::TurnUntil([&] { return failures_ == 3; })) << failures_;
  EXPECT_GE(port_->OutgoingBytes(), large.size()) << "the first is still on its way";
  ASSERT_TRUE(Finder::TurnUntil([&] { return failures_ == 4; })) << failures_;
  EXPECT_GE(SteadyClock::now() - start, seconds(2));
  // No more is sent here: GNUstep keeps what it has refused, and falls over it at the next message.
  EXPECT_EQ(invalid_, 0);
  EXPECT_EQ(raised_, std::vector<std::string>());
}

}  // namespace
}  // namespace kelvo::test
