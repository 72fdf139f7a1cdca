#include "base/agent_id.h"

namespace kelvo {
namespace {

std::string& StoredAgentID() {
  static std::string& id = *new std::string;  // outlives threads that log during exit
  return id;
}

}  // namespace

const std::string& AgentID() { return StoredAgentID(); }
void SetAgentID(const std::string& id) { StoredAgentID() = id; }

}  // namespace kelvo
