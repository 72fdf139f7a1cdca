#pragma once

#include <glib.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

#include "agent/message_frame.h"
#include "base/unique_fd.h"
#include "platform/agent_transport.h"

namespace kelvo {

// An Agent, or another program that frames its messages alike, at the other end of a connected,
// non-blocking stream socket.
//
// Input and output are sources of the context. They may run inside each other, so that a loop
// turned from inside a message's delivery goes on with the messages after it, in order.
// Threads: the one that turns the context. Lifetime: may be destroyed inside a delegate's call.
class UnixAgentPort : public AgentPort {
 public:
  struct Options {
    std::chrono::milliseconds sendLimit;  // a message of which no byte was written by then is lost
    std::size_t maxMessageSize = kMaxMessageSize;  // of messages received
    const char* peer = "the Agent";                // for the log
  };

  UnixAgentPort(GMainContext* context, UniqueFd fd, std::string description, const Options& options,
                AgentPortDelegate& delegate);
  ~UnixAgentPort() override;
  UnixAgentPort(const UnixAgentPort&) = delete;
  UnixAgentPort& operator=(const UnixAgentPort&) = delete;

  void Send(std::string name, std::string archive) override;
  std::size_t OutgoingBytes() const override;
  void Pause(bool paused) override;
  std::string Description() const override { return description_; }

 private:
  class Connection;

  const std::string description_;
  const std::shared_ptr<Connection> connection_;  // also kept by its calls under way
};

}  // namespace kelvo
