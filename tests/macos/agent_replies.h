#pragma once

#include <string>
#include <vector>

namespace kelvo::test {

struct PortMessageBytes {
  std::string name;
  std::string archive;
};

// What the Agent of the tests says to a message; `note` is what it writes down of it. Lists: of a
// folder "many" 50,000 items in more than 5 MB, of "/files" 2,000, of every other folder six items
// called "a" to "f" with a badge each.
std::vector<PortMessageBytes> AgentReplies(const PortMessageBytes& message, std::string* note);

}  // namespace kelvo::test
