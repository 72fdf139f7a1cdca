#include "platform/macos/port_sender.h"

#include <algorithm>
#include <atomic>
#include <utility>

#include "base/guarded_call.h"

namespace kelvo {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds kSendLimit = std::chrono::seconds(3);
constexpr std::size_t kMaxOutgoingBytes = std::size_t{8} << 20;

std::size_t Size(const PortSender::Message& message) {
  return message.name.size() + message.archive.size();
}

}  // namespace

struct PortSender::State {
  State(SendFunction sending, Failed failing)
      : send(std::move(sending)), failed(std::move(failing)) {}

  const SendFunction send;
  const Failed failed;
  std::atomic<bool> over{false};
  std::atomic<std::size_t> bytes{0};

  void Work(const Message& message, Clock::time_point limit) {
    std::string error;
    const auto left = std::chrono::duration_cast<milliseconds>(limit - Clock::now());
    const Outcome outcome = left.count() <= 0 ? Outcome::kRefused : send(message, left, &error);
    if (outcome == Outcome::kRaised) over = true;
    if (outcome != Outcome::kSent) failed(outcome, error);
  }
};

PortSender::PortSender(RunLoop& runLoop, SendFunction send, Failed failed)
    : state_(std::make_shared<State>(std::move(send), std::move(failed))), thread_(runLoop, 1) {}

PortSender::~PortSender() { state_->over = true; }

void PortSender::Send(Message message) {
  const std::size_t size = Size(message);
  if (size > kMaxOutgoingBytes - std::min(kMaxOutgoingBytes, state_->bytes.load())) {
    state_->failed(Outcome::kRefused, {});
    return;
  }
  state_->bytes += size;
  thread_.Run(
      [state = state_, size, limit = Clock::now() + kSendLimit, message = std::move(message)] {
        if (!state->over) CallGuarded("sending", [&] { state->Work(message, limit); });
        state->bytes -= size;
      });
}

std::size_t PortSender::OutgoingBytes() const { return state_->bytes; }

}  // namespace kelvo
