#pragma once

#include <glib.h>
#include <sys/types.h>

#include <chrono>
#include <memory>
#include <string>

#include "base/unique_fd.h"
#include "platform/agent_transport.h"
#include "platform/linux/glib_ptr.h"

namespace kelvo {

// Agents that listen on a Unix stream socket of the user's, named after the bootstrap name, in the
// user's runtime folder. A message is a frame (agent/message_frame.h) on that connection.
//
// Threads: the one that turns the context; addressOf any. Lifetime: ports may outlive it.
class UnixAgentTransport : public AgentTransport {
 public:
  struct Settings {
    std::string runtimeFolder;  // absolute; empty: there is none
    uid_t user;                 // owner of folder, socket and Agent
    std::chrono::milliseconds sendLimit;
  };
  // $XDG_RUNTIME_DIR, the process's user, and 3 seconds.
  static Settings DefaultSettings();

  // Takes a reference; null is the default context.
  explicit UnixAgentTransport(GMainContext* context, Settings settings = DefaultSettings());

  // A reason for refusal is logged once, until it changes: callers ask every few seconds.
  std::unique_ptr<AgentPort> portForName(const std::string& name,
                                         AgentPortDelegate& delegate) override;
  std::string addressOf(const std::string& name) const override;

 private:
  UniqueFd Connect(const std::string& name, std::string* description, std::string* refusal) const;

  const GLibPtr<GMainContext> context_;
  const Settings settings_;
  std::string lastRefusal_;
};

}  // namespace kelvo
