#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace kelvo {

class AgentPort;

// What a port tells its owner. All calls come on the main loop, never from inside Send, and never
// after the port was destroyed.
class AgentPortDelegate {
 public:
  // One whole message: the name's bytes and the dictionary's archive, neither checked.
  virtual void handlePortMessage(AgentPort& port, std::string name, std::string archive) = 0;
  // The peer went away. Whole messages that it had sent were delivered before.
  virtual void handleInvalidPort(AgentPort& port) = 0;
  // A message could not be handed over within its 3 seconds, or was refused; it is lost.
  virtual void handleSendFailure(AgentPort& port) = 0;
  // Sending raised an error; the message is lost and the port of no more use.
  virtual void handleSendException(AgentPort& port, const std::string& description) = 0;

 protected:
  ~AgentPortDelegate() = default;
};

// A connection to one Agent. Main loop only. Destroying it closes it.
class AgentPort {
 public:
  virtual ~AgentPort() = default;
  // Queues one message; never blocks. Messages arrive in order.
  virtual void Send(std::string name, std::string archive) = 0;
  // What was sent and has not been taken by the Agent's side yet; 0 where that is not known.
  virtual std::size_t OutgoingBytes() const { return 0; }
  // While it is paused nothing is delivered, neither messages nor the peer's end, and what comes
  // waits on the peer's side; what is sent still leaves. Going on delivers nothing before the
  // loop's next turn.
  virtual void Pause(bool paused) = 0;
  // For the log.
  virtual std::string Description() const = 0;
};

// Finds Agents. Main loop only, except addressOf.
class AgentTransport {
 public:
  virtual ~AgentTransport() = default;
  // The Agent listening under the bootstrap name, or null (at once, without blocking) when there is
  // none that may be talked to; a reason other than absence is logged.
  virtual std::unique_ptr<AgentPort> portForName(const std::string& name,
                                                 AgentPortDelegate& delegate) = 0;
  // The path by which an Agent of that name is found, for people who look into things; empty where
  // there is none. Any thread.
  virtual std::string addressOf(const std::string& /*name*/) const { return {}; }
};

}  // namespace kelvo
