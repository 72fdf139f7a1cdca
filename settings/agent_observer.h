// What the account's settings need of the channel to the Agent: to hear that they have changed, and
// to say so. Supplied by the channel, which is built on top of them.
//
// Threads: main loop.
#pragma once

#include <cstdint>
#include <string>

#include "base/property_list.h"

namespace kelvo {

inline constexpr int kDefaultSettingsHint = 0xFE87;

using AgentEventFunction = void (*)(void* target, const char* agentId, const std::string* eventName,
                                    const PropertyList::Dictionary& userInfo);
using ConnectionStatusFunction = void (*)(void* target, const char* agentId, int status,
                                          std::int64_t timestamp);
using AgentSettingsFunction = void (*)(void* target, const char* agentId, int hint);

// One registration: owned by the registering object, and must outlive the registration.
struct AgentObserver {
  void* target = nullptr;
  AgentEventFunction onEvent = nullptr;
  ConnectionStatusFunction onConnectionStatus = nullptr;
  AgentSettingsFunction onSettings = nullptr;
};

// An object that takes the channel's messages as operations; the target of the Forward functions.
class AgentNotificationReceiver {
 public:
  virtual void notifyAgentEvent(const std::string* /*eventName*/,
                                const PropertyList::Dictionary& /*userInfo*/,
                                const char* /*agentID*/) {}
  virtual void notifyConnectionStatus(int /*status*/, std::int64_t /*timestamp*/,
                                      const char* /*agentID*/) {}
  virtual void notifyAgentSettings(int /*hint*/, const char* /*agentID*/) {}

 protected:
  ~AgentNotificationReceiver() = default;
};

// An absent "hint" is kDefaultSettingsHint.
void RegisterAgentSettingsObserver(AgentObserver* observer, void* target,
                                   AgentSettingsFunction function);
void RemoveAgentObserver(AgentObserver* observer);
// `target` is an AgentNotificationReceiver*.
void ForwardAgentSettingsEvent(void* target, const char* agentId, int hint);

// Deliberate: does nothing. Settings changes are never announced by the extension.
void NotifyAgentSettingsChanged(const char* agentId, int hint);

}  // namespace kelvo
