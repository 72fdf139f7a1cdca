#include "tools/sample_agent/agent_connection.h"

#include <errno.h>
#include <string.h>
#include <sys/socket.h>

#include <array>

#include "agent/keyed_archive.h"
#include "agent/notifications_bridge.h"
#include "tools/terminal_text.h"

namespace kelvo::sample_agent {
namespace {

constexpr int kReadsPerCall = 4;

bool IsNothingNow(int error) { return error == EAGAIN || error == EWOULDBLOCK || error == EINTR; }

}  // namespace

void AgentConnection::End(std::string reason) {
  if (ending_.empty()) ending_ = std::move(reason);
}

void AgentConnection::Read() {
  std::array<char, 65536> bytes;
  for (int i = 0; i < kReadsPerCall; ++i) {
    const ssize_t count = ::recv(fd_.get(), bytes.data(), bytes.size(), 0);
    if (count < 0) {
      if (!IsNothingNow(errno)) End(strerror(errno));
      return;
    }
    if (count == 0) {
      End("closed by the extension");
      return;
    }
    reader_.Append(std::string_view(bytes.data(), static_cast<std::size_t>(count)));
  }
}

std::optional<AgentMessage> AgentConnection::NextMessage() {
  while (std::optional<MessageFrameReader::Message> frame = reader_.Next()) {
    if (!opened_ && frame->name != kInitComName) {
      End("its first message was " + tools::QuotedText(frame->name, 100) + ", not init_com");
      return std::nullopt;
    }
    opened_ = true;
    std::string error;
    std::optional<PropertyList::Dictionary> info = DecodeKeyedArchive(frame->archive, &error);
    if (info.has_value()) return AgentMessage{std::move(frame->name), std::move(*info)};
    // The framing is intact, so the connection lives on.
    tools::PrintError("a message was skipped, its dictionary cannot be read: " + error);
  }
  if (!reader_.Error().empty()) {
    End(reader_.Error());
  } else if (!ending_.empty() && reader_.Pending() > 0) {
    tools::PrintError(std::to_string(reader_.Pending()) +
                      " bytes of an unfinished message were dropped");
  }
  return std::nullopt;
}

void AgentConnection::Queue(const AgentMessage& message) {
  if (!ending_.empty() || !peerListens_) return;
  std::string frame = EncodeMessageFrame(message.name, EncodeKeyedArchive(message.info));
  if (frame.size() > kMaxMessageSize) {
    tools::PrintError("a message of " + std::to_string(frame.size()) +
                      " bytes is too large to send");
    return;
  }
  if (!queue_.empty() && queuedBytes_ + frame.size() > kMaxQueue) {
    End("the extension does not read");
    return;
  }
  queuedBytes_ += frame.size();
  queue_.push_back(std::move(frame));
}

void AgentConnection::StopWriting() {
  peerListens_ = false;
  queue_.clear();
  queuedBytes_ = 0;
  written_ = 0;
}

void AgentConnection::Write() {
  while (!queue_.empty()) {
    const std::string_view rest = std::string_view(queue_.front()).substr(written_);
    const ssize_t count = ::send(fd_.get(), rest.data(), rest.size(), MSG_NOSIGNAL);
    if (count < 0) {
      // Who has hung up may have said something before; reading finds that, and then the end.
      if (!IsNothingNow(errno)) StopWriting();
      return;
    }
    written_ += static_cast<std::size_t>(count);
    if (written_ < queue_.front().size()) continue;
    queuedBytes_ -= queue_.front().size();
    queue_.pop_front();
    written_ = 0;
  }
}

}  // namespace kelvo::sample_agent
