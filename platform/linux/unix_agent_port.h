#pragma once

#include <glib.h>

#include <chrono>
#include <memory>
#include <string>

#include "base/unique_fd.h"
#include "platform/agent_transport.h"

namespace kelvo {

// An Agent at the other end of a connected, non-blocking stream socket.
//
// Input and output are sources of the context. They may run inside each other, so that a loop
// turned from inside a message's delivery goes on with the messages after it, in order.
// Threads: the one that turns the context. Lifetime: may be destroyed inside a delegate's call.
class UnixAgentPort : public AgentPort {
 public:
  // `sendLimit`: a message of which no byte was written by then is lost.
  UnixAgentPort(GMainContext* context, UniqueFd fd, std::string description,
                std::chrono::milliseconds sendLimit, AgentPortDelegate& delegate);
  ~UnixAgentPort() override;
  UnixAgentPort(const UnixAgentPort&) = delete;
  UnixAgentPort& operator=(const UnixAgentPort&) = delete;

  void Send(std::string name, std::string archive) override;
  std::string Description() const override { return description_; }

 private:
  class Connection;

  const std::string description_;
  const std::shared_ptr<Connection> connection_;  // also kept by its calls under way
};

}  // namespace kelvo
