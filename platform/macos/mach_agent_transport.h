#pragma once

#include <memory>
#include <string>

#include "platform/agent_transport.h"

namespace kelvo {

class RunLoop;

// Agents by their names at the user's bootstrap server. Every connection names a port of its own as
// the one to answer to. Threads: as AgentTransport. Lifetime: `runLoop` is never destroyed, since
// messages may be on their way after their port has gone.
class MachAgentTransport : public AgentTransport {
 public:
  explicit MachAgentTransport(RunLoop& runLoop) : runLoop_(runLoop) {}

  std::unique_ptr<AgentPort> portForName(const std::string& name,
                                         AgentPortDelegate& delegate) override;
  // The bootstrap name: there is no path.
  std::string addressOf(const std::string& name) const override { return name; }

 private:
  RunLoop& runLoop_;
};

}  // namespace kelvo
