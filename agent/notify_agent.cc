#include <algorithm>
#include <atomic>
#include <limits>
#include <string>
#include <utility>

#include "agent/notifications_bridge.h"
#include "base/logger.h"
#include "base/notification_center.h"
#include "base/string_utils.h"

namespace kelvo {
namespace {

std::atomic<NotificationsBridge*> theBridge{nullptr};
// Of the messages that carry no time of their own.
const Clock* theClock = nullptr;

void Send(const std::string& name, const PropertyList::Dictionary& info) {
  NotificationsBridge* bridge = theBridge.load(std::memory_order_acquire);
  if (bridge != nullptr) bridge->sendNotificationWithName(name, info);
}

std::optional<int> IntegerValue(const PropertyList::Dictionary& info, std::string_view key) {
  const PropertyList* value = FindValue(info, key);
  const auto integer = value == nullptr ? std::nullopt : value->ToInteger();
  if (!integer) return std::nullopt;
  return static_cast<int>(std::clamp<std::int64_t>(*integer, std::numeric_limits<int>::min(),
                                                   std::numeric_limits<int>::max()));
}

void AgentEventCallback(const AgentObserver& observer, const PropertyList::Dictionary& userInfo) {
  const PropertyList* name = FindValue(userInfo, "event_name");
  observer.onEvent(observer.target, kAgentInstance, name == nullptr ? nullptr : name->AsString(),
                   userInfo);
}

void ConnectionStatusCallback(const AgentObserver& observer,
                              const PropertyList::Dictionary& userInfo) {
  const auto status = IntegerValue(userInfo, "status");
  if (!status) return;
  const PropertyList* value = FindValue(userInfo, "timestamp");
  const auto timestamp = value == nullptr ? std::nullopt : value->ToInteger();
  const std::int64_t now = theClock == nullptr ? 0 : theClock->Now();
  observer.onConnectionStatus(observer.target, kAgentInstance, *status, timestamp.value_or(now));
}

void AgentSettingsCallback(const AgentObserver& observer,
                           const PropertyList::Dictionary& userInfo) {
  observer.onSettings(observer.target, kAgentInstance,
                      IntegerValue(userInfo, "hint").value_or(kDefaultSettingsHint));
}

void AddObserver(AgentObserver* observer, const char* name,
                 void (*callback)(const AgentObserver&, const PropertyList::Dictionary&)) {
  NotificationCenter::LocalCenter().AddObserver(
      observer, name, kNotificationObject,
      [observer, callback](const std::string&, const PropertyList::Dictionary& userInfo) {
        callback(*observer, userInfo);
      });
}

}  // namespace

void InitializeBridge(const std::string& name, const CFinderConfiguration* config,
                      NotificationsBridgeDelegate* delegate, AgentTransport& transport,
                      RunLoop& runLoop, const Clock& clock, BackgroundQueue* worker) {
  DeallocBridge();
  theClock = &clock;
  theBridge = new NotificationsBridge(delegate, name, config, transport, runLoop, clock, worker);
}

void DeallocBridge() {
  delete theBridge.exchange(nullptr);
  theClock = nullptr;
}

std::size_t AgentOutgoingBytes() {
  NotificationsBridge* bridge = theBridge.load(std::memory_order_acquire);
  return bridge == nullptr ? 0 : bridge->outgoingBytes();
}

AgentContact BridgeContact() {
  const NotificationsBridge* bridge = theBridge.load(std::memory_order_acquire);
  return bridge == nullptr ? AgentContact{} : bridge->contact();
}

bool IsBridgeConnected() {
  const NotificationsBridge* bridge = theBridge.load(std::memory_order_acquire);
  return bridge != nullptr && bridge->isConnected();
}

void SetMessagePreparer(MessagePreparer preparer) {
  NotificationsBridge* bridge = theBridge.load(std::memory_order_acquire);
  if (bridge != nullptr) bridge->setMessagePreparer(std::move(preparer));
}

void HoldAgentMessages() {
  NotificationsBridge* bridge = theBridge.load(std::memory_order_acquire);
  if (bridge != nullptr) bridge->holdMessages();
}

void ReleaseAgentMessages() {
  NotificationsBridge* bridge = theBridge.load(std::memory_order_acquire);
  if (bridge != nullptr) bridge->releaseMessages();
}

std::uint64_t HoldBridgeOpening() {
  NotificationsBridge* bridge = theBridge.load(std::memory_order_acquire);
  return bridge == nullptr ? 0 : bridge->holdOpening();
}

void FinishBridgeOpening(std::uint64_t opening, const std::function<void()>& send) {
  NotificationsBridge* bridge = theBridge.load(std::memory_order_acquire);
  if (bridge != nullptr) bridge->finishOpening(opening, send);
}

void NotifyAgentEvent(const char* /*agentId*/, const char* eventName,
                      std::initializer_list<EventArgument> arguments) {
  NotifyAgentEventV(eventName, arguments.begin(), arguments.size());
}

void NotifyAgentEventV(const char* eventName, const EventArgument* arguments, std::size_t count) {
  PropertyList::Dictionary info;
  info.insert_or_assign("event_name", PropertyList(eventName));
  bool valid = IsValidUtf8(eventName);
  for (std::size_t i = 0; i < count && arguments[i].key != nullptr; ++i) {
    const auto [key, value] = arguments[i];
    if (value == nullptr) {
      KELVO_LOG(kLogError, "NotifyAgentEvent: NULL value for key " << key << "; skipping.");
      break;
    }
    valid = valid && IsValidUtf8(key) && IsValidUtf8(value);
    info.insert_or_assign(key, PropertyList(value));
  }
  if (!valid) {
    KELVO_LOG(kLogError, "NotifyAgentEvent: " << ToValidUtf8(eventName)
                                              << " holds a text that is not UTF-8; dropped.");
    return;
  }
  Send(kAgentEventName, info);
}

void NotifyAgentReportStatus(const char* /*agentId*/) {
  Send(kReportStatusName, {{"agent-id", PropertyList(kAgentInstance)}});
}

void NotifyAgentSettingsChanged(const char* /*agentId*/, int /*hint*/) {}

void RegisterAgentEventObserver(AgentObserver* observer, void* target,
                                AgentEventFunction function) {
  observer->target = target;
  observer->onEvent = function;
  AddObserver(observer, kAgentEventName, AgentEventCallback);
}

void RegisterConnectionStatusObserver(AgentObserver* observer, void* target,
                                      ConnectionStatusFunction function) {
  observer->target = target;
  observer->onConnectionStatus = function;
  AddObserver(observer, kConnectionStatusName, ConnectionStatusCallback);
}

void RegisterAgentSettingsObserver(AgentObserver* observer, void* target,
                                   AgentSettingsFunction function) {
  observer->target = target;
  observer->onSettings = function;
  AddObserver(observer, kSettingsChangedName, AgentSettingsCallback);
}

void RemoveAgentObserver(AgentObserver* observer) {
  NotificationCenter::LocalCenter().RemoveObserver(observer, kNotificationObject);
}

void ForwardAgentEvent(void* target, const char* agentId, const std::string* eventName,
                       const PropertyList::Dictionary& userInfo) {
  static_cast<AgentNotificationReceiver*>(target)->notifyAgentEvent(eventName, userInfo, agentId);
}

void ForwardConnectionStatus(void* target, const char* agentId, int status,
                             std::int64_t timestamp) {
  static_cast<AgentNotificationReceiver*>(target)->notifyConnectionStatus(status, timestamp,
                                                                          agentId);
}

void ForwardAgentSettingsEvent(void* target, const char* agentId, int hint) {
  static_cast<AgentNotificationReceiver*>(target)->notifyAgentSettings(hint, agentId);
}

}  // namespace kelvo
