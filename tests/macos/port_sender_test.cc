#include "platform/macos/port_sender.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "tests/support/fake_platform.h"

namespace kelvo::test {
namespace {

using Outcome = PortSender::Outcome;
using std::chrono::milliseconds;

// A port whose behaviour the test decides, and what was told of it.
struct Port {
  FakeClock clock;
  FakeRunLoop runLoop{clock};
  std::mutex mutex;
  std::condition_variable changed;
  bool holds = true;
  Outcome next = Outcome::kSent;
  std::vector<std::string> sent;
  std::vector<milliseconds> limits;
  std::vector<Outcome> failures;
  std::shared_ptr<bool> send = std::make_shared<bool>();  // held by whoever may still send

  PortSender::SendFunction Send() {
    return
        [this, held = send](const PortSender::Message& message, milliseconds limit, std::string*) {
          std::unique_lock lock(mutex);
          limits.push_back(limit);
          changed.wait(lock, [this] { return !holds; });
          sent.push_back(message.name);
          changed.notify_all();
          return next;
        };
  }
  PortSender::Failed Failed() {
    return [this](Outcome outcome, const std::string&) {
      std::lock_guard lock(mutex);
      failures.push_back(outcome);
      changed.notify_all();
    };
  }
  void Let(Outcome outcome) {
    std::lock_guard lock(mutex);
    holds = false;
    next = outcome;
    changed.notify_all();
  }
  bool Until(std::size_t sentCount, std::size_t failureCount) {
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, std::chrono::seconds(30), [&] {
      return sent.size() >= sentCount && failures.size() >= failureCount;
    });
  }
};

TEST(PortSenderTest, RefusesWhatComesBehindEightMebibytes) {
  Port port;
  PortSender sender(port.runLoop, port.Send(), port.Failed());
  sender.Send({"a", std::string(8 << 20, 'x')});
  EXPECT_EQ(port.failures, std::vector<Outcome>{Outcome::kRefused}) << "at once, with its name";
  sender.Send({"b", std::string((8 << 20) - 1 - 5, 'x')});
  sender.Send({"c", "yyyyy"});
  sender.Send({"waits", ""});
  EXPECT_EQ(port.failures.size(), 2u);
  const auto handedOver = std::chrono::steady_clock::now();
  while (std::chrono::steady_clock::now() < handedOver + milliseconds(5)) std::this_thread::yield();
  port.Let(Outcome::kSent);
  ASSERT_TRUE(port.Until(2, 2));
  while (sender.OutgoingBytes() != 0) std::this_thread::yield();
  sender.Send({"d", ""});
  ASSERT_TRUE(port.Until(3, 2));
  EXPECT_EQ(port.sent, (std::vector<std::string>{"b", "waits", "d"}));
  const auto kLimit = std::chrono::seconds(3);
  EXPECT_LE(port.limits[0], kLimit);
  EXPECT_LE(port.limits[1], kLimit - milliseconds(5)) << "runs from the handing over";
  EXPECT_GT(port.limits[2], kLimit - std::chrono::seconds(2));
}

TEST(PortSenderTest, SendsNothingAfterAnError) {
  Port port;
  {
    PortSender sender(port.runLoop, port.Send(), port.Failed());
    sender.Send({"a", ""});
    sender.Send({"b", ""});
    port.Let(Outcome::kRaised);
    ASSERT_TRUE(port.Until(1, 1));
    while (sender.OutgoingBytes() != 0) std::this_thread::yield();
  }
  EXPECT_EQ(port.sent, std::vector<std::string>{"a"});
  EXPECT_EQ(port.failures, std::vector<Outcome>{Outcome::kRaised});
}

TEST(PortSenderTest, ItsEndIsNotHeldUpByWhatIsBeingSent) {
  Port port;
  {
    PortSender sender(port.runLoop, port.Send(), port.Failed());
    sender.Send({"a", ""});
    sender.Send({"b", ""});
    EXPECT_EQ(sender.OutgoingBytes(), 2u);
  }
  port.Let(Outcome::kSent);
  // "a" may be on its way, "b" is not begun any more; and the thread is through with the port.
  while (port.send.use_count() > 1) std::this_thread::yield();
  EXPECT_LE(port.sent.size(), 1u);
  EXPECT_TRUE(port.failures.empty());
}

}  // namespace
}  // namespace kelvo::test
