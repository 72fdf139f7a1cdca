#pragma once

#include <string>

namespace kelvo {

// The agent instance whose files and log prefix this process uses; empty in the extension, a hook
// for a program that serves several Agents.
//
// Threads: set once, before the first configuration path is asked for and before a second thread
// runs; read from any thread after that.
const std::string& AgentID();
void SetAgentID(const std::string& id);

}  // namespace kelvo
