#pragma once

#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "agent/message_frame.h"
#include "base/unique_fd.h"
#include "tools/sample_agent/agent_message.h"

namespace kelvo::sample_agent {

// One extension's connection: bytes to messages and back. Nothing here blocks.
//
// Threads: one.
class AgentConnection {
 public:
  static constexpr std::size_t kMaxQueue = std::size_t{64} << 20;  // bytes

  // `fd`: connected and non-blocking.
  explicit AgentConnection(UniqueFd fd) : fd_(std::move(fd)) {}

  int Fd() const { return fd_.get(); }
  // An Agent writes nothing before the extension's first message, "init_com", was read.
  bool IsOpened() const { return opened_; }
  // Not empty once the connection is of no more use: why. Messages that came before can be taken.
  const std::string& Ending() const { return ending_; }

  // Reads what has arrived, at most a quarter of a megabyte a call.
  void Read();
  // The next whole message that could be decoded; nullopt when more bytes are needed, or never.
  std::optional<AgentMessage> NextMessage();

  // Queues a message. A peer that lets the queue grow beyond kMaxQueue is given up.
  void Queue(const AgentMessage& message);
  bool HasQueued() const { return !queue_.empty(); }
  // Writes what the peer takes now.
  void Write();

 private:
  void End(std::string reason);
  void StopWriting();

  UniqueFd fd_;
  MessageFrameReader reader_;
  bool opened_ = false;
  bool peerListens_ = true;        // false once a write has failed
  std::deque<std::string> queue_;  // frames, oldest first
  std::size_t queuedBytes_ = 0;
  std::size_t written_ = 0;  // bytes of the oldest
  std::string ending_;
};

}  // namespace kelvo::sample_agent
