#pragma once

#include <utility>

#include "tools/sample_agent/agent_message.h"

namespace kelvo::sample_agent {

// What is sent because of one request.
struct Answer {
  enum class Audience { kAsker, kEverybody };
  AgentMessage message;
  Audience audience = Audience::kAsker;
};

inline Answer ToAsker(AgentMessage message) {
  return {std::move(message), Answer::Audience::kAsker};
}

inline Answer ToEverybody(AgentMessage message) {
  return {std::move(message), Answer::Audience::kEverybody};
}

}  // namespace kelvo::sample_agent
