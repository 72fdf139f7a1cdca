#pragma once

#include <string>

#include "agent/notifications_bridge.h"

namespace kelvo {

// How the extension fares, for people who look into things; nothing secret. A value.
struct Diagnostics {
  std::string agentAddress = {};  // the path by which the Agent is found
  AgentContact agent = {};
  std::string configurationFile = {};   // empty: none was looked for yet
  std::string configurationLabel = {};  // empty likewise
  bool configurationRead = false;
  std::string logFile = {};
  bool started = false;  // the Agent has sent its configuration
};

}  // namespace kelvo
