#include "platform/linux/unix_agent_transport.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "agent/message_frame.h"
#include "tests/support/fixture.h"

namespace kelvo::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

constexpr char kName[] = "com.kelvo.vip.kelvoFinderSync";

sockaddr_un Address(const std::string& path) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  return address;
}

// The Agent's listening socket; without `listen`, one that an Agent left behind.
UniqueFd Bind(const std::string& path, int backlog = 8, bool listen = true) {
  UniqueFd fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  const sockaddr_un address = Address(path);
  EXPECT_EQ(0, ::bind(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address));
  EXPECT_TRUE(!listen || ::listen(fd.get(), backlog) == 0);
  return fd;
}

class UnixAgentTransportTest : public Fixture, protected AgentPortDelegate {
 protected:
  UnixAgentTransportTest() {
    EXPECT_EQ(0, ::mkdir(folder_.c_str(), 0700));
    // Conditions of the test itself are looked at again while nothing else happens.
    tick_ = g_timeout_source_new(2);
    g_source_set_callback(
        tick_, [](gpointer ticks) -> gboolean { return ++*static_cast<int*>(ticks) > 0; }, &ticks_,
        nullptr);
    g_source_attach(tick_, context_.get());
  }
  ~UnixAgentTransportTest() override {
    g_source_destroy(tick_);
    g_source_unref(tick_);
  }

  UnixAgentTransport::Settings Settings() const { return {folder_, ::geteuid(), seconds{3}}; }
  std::string SocketPath() const { return folder_ + "/" + kName; }

  // An extension's port and the Agent's end of it.
  void Connect(milliseconds sendLimit = seconds{3}) {
    UnixAgentTransport::Settings settings = Settings();
    settings.sendLimit = sendLimit;
    trace_.clear();
    ::unlink(SocketPath().c_str());
    listener_ = Bind(SocketPath());
    port_ = UnixAgentTransport(context_.get(), settings).portForName(kName, *this);
    ASSERT_TRUE(port_);
    agent_ = UniqueFd(::accept4(listener_.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    ASSERT_TRUE(agent_);
  }
  // Turns the loop until the condition holds; false when it does not within the limit.
  bool Wait(const std::function<bool()>& condition) {
    const auto end = steady_clock::now() + seconds{20};
    while (!condition()) {
      if (steady_clock::now() > end) return false;
      g_main_context_iteration(context_.get(), TRUE);
    }
    return true;
  }
  // As the Agent; the loop takes what the socket has no room for.
  void Write(std::string_view bytes) {
    EXPECT_TRUE(Wait([&] {
      const ssize_t count = ::send(agent_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (count > 0) bytes.remove_prefix(static_cast<std::size_t>(count));
      return bytes.empty();
    }));
  }
  // What the Agent has been sent; the names of whole messages, each with a blank.
  std::string Received() {
    char bytes[65536];
    ssize_t count;
    while ((count = ::recv(agent_.get(), bytes, sizeof bytes, 0)) > 0) {
      received_.Append({bytes, static_cast<std::size_t>(count)});
    }
    while (auto message = received_.Next()) names_ += message->name + " ";
    return names_;
  }

  void handlePortMessage(AgentPort& port, std::string name, std::string archive) override {
    EXPECT_EQ(port_.get(), &port);
    EXPECT_FALSE(sending_);
    trace_ += name + " ";
    archive_ = std::move(archive);
    if (onMessage_) onMessage_(name);
  }
  void handleInvalidPort(AgentPort& port) override {
    EXPECT_FALSE(sending_);
    trace_ += "invalid ";
    EXPECT_NE("", port.Description());
    port_.reset();
  }
  void handleSendFailure(AgentPort&) override {
    EXPECT_FALSE(sending_);
    ++failures_;
  }
  void handleSendException(AgentPort&, const std::string& description) override {
    EXPECT_FALSE(sending_);
    trace_ += "exception: " + description + " ";
    port_.reset();
  }
  void Send(const std::string& name, const std::string& archive) {
    sending_ = true;
    port_->Send(name, archive);
    sending_ = false;
  }

  const std::string folder_ = Home("run");
  GLibPtr<GMainContext> context_{g_main_context_new()};
  GSource* tick_;
  int ticks_ = 0;
  UniqueFd listener_;
  UniqueFd agent_;
  std::unique_ptr<AgentPort> port_;
  std::function<void(const std::string&)> onMessage_;
  std::string trace_;
  std::string archive_;
  int failures_ = 0;
  bool sending_ = false;
  MessageFrameReader received_;
  std::string names_;
};

TEST_F(UnixAgentTransportTest, MessagesTravelBothWaysInOrder) {
  Connect();
  EXPECT_EQ(SocketPath() + ", process " + std::to_string(::getpid()), port_->Description());
  Send("init_com", "");
  Send("second", std::string(100'000, 'x'));
  EXPECT_TRUE(Wait([&] { return Received() == "init_com second "; }));

  const std::string stream = EncodeMessageFrame("one", "1") + EncodeMessageFrame("two", "22");
  for (const char byte : stream) Write({&byte, 1});
  EXPECT_TRUE(Wait([&] { return trace_ == "one two "; })) << trace_;
  EXPECT_EQ("22", archive_);
  Write(EncodeMessageFrame("large", std::string(20 << 20, 'y')));
  EXPECT_TRUE(Wait([&] { return trace_ == "one two large "; })) << trace_;
  EXPECT_EQ(std::string(20 << 20, 'y'), archive_);
}

TEST_F(UnixAgentTransportTest, AbsentAgentIsNoFault) {
  UnixAgentTransport transport(context_.get(), Settings());
  EXPECT_FALSE(transport.portForName(kName, *this));
  { const UniqueFd left = Bind(SocketPath(), 0, false); }
  EXPECT_FALSE(transport.portForName(kName, *this));

  ASSERT_EQ(0, ::unlink(SocketPath().c_str()));
  const UniqueFd busy = Bind(SocketPath(), 0);
  std::unique_ptr<AgentPort> ports[10];
  for (auto& port : ports) port = transport.portForName(kName, *this);
  EXPECT_TRUE(ports[0]);
  EXPECT_FALSE(ports[9]);
  EXPECT_TRUE(fake_.systemLog.Lines().empty());
}

TEST_F(UnixAgentTransportTest, UnsafeRendezvousIsRefusedAndEachReasonLoggedOnce) {
  using Change = std::function<void(UnixAgentTransport::Settings&)>;
  const std::string path = SocketPath();
  UniqueFd listener;
  const std::pair<Change, const char*> rows[] = {
      {[](auto& settings) { settings.runtimeFolder = ""; }, "XDG_RUNTIME_DIR is not set"},
      {[](auto& settings) { settings.runtimeFolder = "run"; },
       "XDG_RUNTIME_DIR is no absolute path: run"},
      {[](auto& settings) { settings.runtimeFolder += "/none"; },
       "none is out of reach: No such file or directory"},
      {[](auto& settings) { settings.user += 1; }, "is another user's"},
      {[](auto& settings) { settings.runtimeFolder += std::string(100, '/'); },
       "is too long for a socket"},
      {[&](auto&) { ::chmod(folder_.c_str(), 0750); }, "is open to other users"},
      {[&](auto&) {
         ::chmod(folder_.c_str(), 0700);
         WriteFile(path, "");
       },
       "kelvoFinderSync is no socket"},
      {[&](auto&) {
         ::unlink(path.c_str());
         listener = Bind(folder_ + "/real");
         std::filesystem::create_symlink(folder_ + "/real", path);
       },
       "kelvoFinderSync is a link"},
  };
  for (const auto& [change, reason] : rows) {
    UnixAgentTransport::Settings settings = Settings();
    change(settings);
    const std::size_t before = fake_.systemLog.Lines().size();
    UnixAgentTransport transport(context_.get(), settings);
    for (int i = 0; i < 3; ++i) EXPECT_FALSE(transport.portForName(kName, *this)) << reason;
    const auto lines = fake_.systemLog.Lines();
    ASSERT_EQ(before + 1, lines.size()) << reason;
    EXPECT_NE(std::string::npos, lines.back().text.find(reason)) << lines.back().text;
  }
  EXPECT_EQ(-1, ::accept(listener.get(), nullptr, nullptr));

  // A reason that goes and comes back is news.
  ::unlink(path.c_str());
  UnixAgentTransport transport(context_.get(), Settings());
  for (int i = 0; i < 2; ++i) {
    WriteFile(path, "");
    EXPECT_FALSE(transport.portForName(kName, *this));
    ::unlink(path.c_str());
    EXPECT_FALSE(transport.portForName(kName, *this));
  }
  EXPECT_EQ(3, LogCount("is no socket"));
}

TEST_F(UnixAgentTransportTest, OtherUsersAgentGetsNotOneByte) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can set up files of another user";
  constexpr uid_t kOther = 54321;
  UnixAgentTransport::Settings settings = Settings();
  settings.user = kOther;
  const UniqueFd listener = Bind(SocketPath());
  UnixAgentTransport transport(context_.get(), settings);
  ASSERT_EQ(0, ::chown(folder_.c_str(), kOther, 0));
  EXPECT_FALSE(transport.portForName(kName, *this));
  EXPECT_EQ(1, LogCount("is another user's socket"));
  ASSERT_EQ(0, ::chown(SocketPath().c_str(), kOther, 0));
  EXPECT_FALSE(transport.portForName(kName, *this));
  EXPECT_EQ(1, LogCount("another user's process listens on"));
  const UniqueFd agent(::accept4(listener.get(), nullptr, nullptr, SOCK_NONBLOCK));
  char byte;
  EXPECT_EQ(0, ::recv(agent.get(), &byte, 1, 0));
}

TEST_F(UnixAgentTransportTest, WholeMessagesComeBeforeTheEndOfTheConnection) {
  const std::string two = EncodeMessageFrame("one", "") + EncodeMessageFrame("two", "");
  Connect();
  Write(two + EncodeMessageFrame("half", "xxx").substr(0, 20));
  agent_.Reset();
  EXPECT_TRUE(Wait([&] { return trace_ == "one two invalid "; })) << trace_;
  EXPECT_EQ(1, LogCount("within a message; 20 bytes dropped"));

  Connect();
  Write(two + "GET / HTTP/1.1\r\n\r\n");
  EXPECT_TRUE(Wait([&] { return trace_ == "one two invalid "; })) << trace_;
  EXPECT_EQ(1, LogCount("the Agent broke the framing: a message of 790644820 components"));

  Connect();
  Write(two);
  agent_.Reset();
  for (const char* name : {"lost", "lost, too"}) Send(name, "");
  EXPECT_EQ("", trace_);
  EXPECT_TRUE(Wait([&] { return port_ == nullptr; }));
  EXPECT_EQ("one two exception: Broken pipe ", trace_);

  Connect();
  onMessage_ = [this](const std::string&) { port_.reset(); };
  Write(two);
  char byte;
  EXPECT_TRUE(Wait([&] { return ::recv(agent_.get(), &byte, 1, 0) == 0; }));
  EXPECT_EQ("one ", trace_);
}

TEST_F(UnixAgentTransportTest, APausedPortTellsNothingAndThenAllInOrder) {
  Connect();
  onMessage_ = [this](const std::string& name) {
    if (name == "one") port_->Pause(true);
  };
  Write(EncodeMessageFrame("one", "") + EncodeMessageFrame("two", ""));
  EXPECT_TRUE(Wait([&] { return trace_ == "one "; })) << trace_;
  Write(EncodeMessageFrame("three", ""));
  agent_.Reset();
  const int ticks = ticks_;
  EXPECT_TRUE(Wait([&] { return ticks_ > ticks + 20; }));
  EXPECT_EQ("one ", trace_);
  port_->Pause(false);
  EXPECT_TRUE(Wait([&] { return port_ == nullptr; }));
  EXPECT_EQ("one two three invalid ", trace_);
}

TEST_F(UnixAgentTransportTest, LoopTurnedInsideADeliveryGoesOnInOrder) {
  Connect();
  onMessage_ = [this](const std::string& name) {
    if (name == "one") {
      Write(EncodeMessageFrame("three", ""));
      EXPECT_TRUE(Wait([&] { return trace_.ends_with("three "); })) << trace_;
      trace_ += ") ";
    } else if (name == "four") {
      EXPECT_TRUE(Wait([&] { return port_ == nullptr; }));
    }
  };
  Write(EncodeMessageFrame("one", "") + EncodeMessageFrame("two", ""));
  EXPECT_TRUE(Wait([&] { return trace_ == "one two three ) "; })) << trace_;
  Write(EncodeMessageFrame("four", "") + EncodeMessageFrame("five", ""));
  agent_.Reset();
  EXPECT_TRUE(Wait([&] { return trace_.ends_with("invalid "); }));
  EXPECT_EQ("one two three ) four five invalid ", trace_);
}

TEST_F(UnixAgentTransportTest, FloodOfMessagesLetsTheLoopTurn) {
  Connect();
  int delivered = 0;
  onMessage_ = [&](const std::string&) {
    ++delivered;
    const auto end = steady_clock::now() + milliseconds{1};
    while (steady_clock::now() < end) {
    }
  };
  std::string flood;
  for (int i = 0; i < 100; ++i) flood += EncodeMessageFrame("m", "");
  Write(flood);
  // 8 ms of delivery between two turns of another source are eight messages at most, fewer on a
  // slow machine.
  int before = 0, most = 0, seen = ticks_;
  EXPECT_TRUE(Wait([&] {
    if (std::exchange(seen, ticks_) != ticks_) {
      most = std::max(most, delivered - std::exchange(before, delivered));
    }
    return delivered == 100;
  }));
  EXPECT_LE(std::max(most, delivered - before), 20);
}

TEST_F(UnixAgentTransportTest, DeafAgentCostsWholeMessagesOnly) {
  Connect(milliseconds{300});
  constexpr int kCount = 60;
  for (int i = 0; i < kCount; ++i) Send("m", std::string(100'000, 'x'));
  EXPECT_TRUE(Wait([&] { return failures_ > 0; }));
  // What was begun is finished, and the next message finds the framing whole.
  EXPECT_TRUE(Wait([&] {
    Received();
    return received_.Pending() == 0;
  }));
  Send("after", "");
  EXPECT_TRUE(Wait([&] { return Received().ends_with("after "); }));
  EXPECT_EQ("", received_.Error());
  EXPECT_EQ(static_cast<std::size_t>(kCount - failures_) * 2 + 6, names_.size());
  EXPECT_LT(failures_, kCount);
}

TEST_F(UnixAgentTransportTest, FullQueueRefusesMessages) {
  Connect(seconds{60});
  for (int i = 0; i < 12; ++i) Send("m", std::string(1 << 20, 'x'));
  EXPECT_EQ(0, failures_);
  EXPECT_TRUE(Wait([&] { return failures_ >= 4; }));
  EXPECT_LE(failures_, 5);
  Send("too large", std::string(9 << 20, 'x'));
  const int before = failures_;
  EXPECT_TRUE(Wait([&] { return failures_ == before + 1; }));
  const auto arrived = static_cast<std::size_t>(13 - failures_);
  EXPECT_TRUE(Wait([&] { return Received().size() == 2 * arrived; }));
}

TEST_F(UnixAgentTransportTest, NothingIsToldAfterDestruction) {
  Connect(milliseconds{1});
  for (int i = 0; i < 12; ++i) Send("m", std::string(1 << 20, 'x'));
  port_.reset();
  agent_.Reset();
  Connect();
  Write(EncodeMessageFrame("alive", ""));
  EXPECT_TRUE(Wait([&] { return trace_ == "alive "; }));
  EXPECT_EQ(0, failures_);
}

}  // namespace
}  // namespace kelvo::test
