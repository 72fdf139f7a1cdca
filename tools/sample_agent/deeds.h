#pragma once

#include <string>
#include <vector>

#include "tools/sample_agent/agent_message.h"
#include "tools/sample_agent/answer.h"

namespace kelvo::sample_agent {

// What an Agent with a desktop would have let the user see because of a request, on one line for
// the terminal: a lock or an unlock with its result, a file that is opened, a notice, a dialog.
// Empty for any other message.
std::string DescribeDeed(const AgentMessage& request, const std::vector<Answer>& answers);

}  // namespace kelvo::sample_agent
