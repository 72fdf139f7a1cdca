#pragma once

#include <map>
#include <memory>
#include <string>

#include "agent/notifications_bridge.h"
#include "base/property_list.h"
#include "base/selector.h"

namespace kelvo {

// Whatever registers with the dispatcher.
class AgentEventReceiver {
 public:
  // The event for which `selector` was registered has arrived.
  virtual void performSelector(Selector selector, const PropertyList::Dictionary& userInfo) = 0;

 protected:
  ~AgentEventReceiver() = default;
};

// One registration in the chain of an event name.
class AgentEventTarget {
 public:
  AgentEventTarget(AgentEventReceiver* target, Selector selector);
  ~AgentEventTarget();

  AgentEventReceiver* target() const { return target_; }
  Selector selector() const { return selector_; }
  const std::shared_ptr<AgentEventTarget>& next() const { return next_; }
  // The new node takes over this node's next and becomes this node's next.
  void insertNext(std::shared_ptr<AgentEventTarget> node);
  // Unlinks the following node and takes over its next.
  void removeNext();
  void performWithUserInfo(const PropertyList::Dictionary& userInfo);

 private:
  AgentEventReceiver* target_;  // not owned
  Selector selector_;
  std::shared_ptr<AgentEventTarget> next_;
};

// Calls the registered operations of user-interface objects by event name.
//
// Threads: main loop. Targets are not owned and must unregister before they go.
// Order: the first registration of a name runs first, later ones after it in reverse order. What is
// registered while an event is dispatched is not called for it; what is unregistered is called no
// more.
class AgentEventDispatcher : private AgentNotificationReceiver {
 public:
  // The shared instance, made on first use and never freed.
  static AgentEventDispatcher& defaultDispatcher();

  AgentEventDispatcher();
  ~AgentEventDispatcher();

  void registerEventName(const std::string& name, AgentEventReceiver* target, Selector selector);
  // Every node of the name with this target.
  void unregisterEventName(const std::string& name, AgentEventReceiver* target);
  // One node of the name with this target and selector; the head only when no later node matches.
  void unregisterEventName(const std::string& name, AgentEventReceiver* target, Selector selector);
  void unregisterTarget(AgentEventReceiver* target);

 private:
  void notifyAgentEvent(const std::string* eventName, const PropertyList::Dictionary& userInfo,
                        const char* agentID) override;

  using DispatchMap = std::map<std::string, std::shared_ptr<AgentEventTarget>>;
  void removeHead(DispatchMap::iterator entry);
  bool isRegistered(const std::string& name, const AgentEventTarget& node) const;

  DispatchMap dispatchMap_;
  AgentObserver agentEventContext_;
};

}  // namespace kelvo
