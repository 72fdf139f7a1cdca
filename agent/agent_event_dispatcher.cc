#include "agent/agent_event_dispatcher.h"

#include <utility>
#include <vector>

namespace kelvo {

AgentEventTarget::AgentEventTarget(AgentEventReceiver* target, Selector selector)
    : target_(target), selector_(selector) {}

AgentEventTarget::~AgentEventTarget() {
  // One by one, since each node would else destroy the rest of the chain inside itself.
  std::shared_ptr<AgentEventTarget> rest = std::move(next_);
  while (rest != nullptr && rest.use_count() == 1) rest = std::move(rest->next_);
}

void AgentEventTarget::insertNext(std::shared_ptr<AgentEventTarget> node) {
  node->next_ = std::move(next_);
  next_ = std::move(node);
}

void AgentEventTarget::removeNext() {
  const std::shared_ptr<AgentEventTarget> removed = std::exchange(next_, nullptr);
  if (removed != nullptr) next_ = std::exchange(removed->next_, nullptr);
}

void AgentEventTarget::performWithUserInfo(const PropertyList::Dictionary& userInfo) {
  target_->performSelector(selector_, userInfo);
}

AgentEventDispatcher& AgentEventDispatcher::defaultDispatcher() {
  static auto* const dispatcher = new AgentEventDispatcher;
  return *dispatcher;
}

AgentEventDispatcher::AgentEventDispatcher() {
  RegisterAgentEventObserver(&agentEventContext_, static_cast<AgentNotificationReceiver*>(this),
                             ForwardAgentEvent);
}

AgentEventDispatcher::~AgentEventDispatcher() { RemoveAgentObserver(&agentEventContext_); }

void AgentEventDispatcher::registerEventName(const std::string& name, AgentEventReceiver* target,
                                             Selector selector) {
  auto node = std::make_shared<AgentEventTarget>(target, selector);
  std::shared_ptr<AgentEventTarget>& head = dispatchMap_[name];
  if (head == nullptr) {
    head = std::move(node);
  } else {
    head->insertNext(std::move(node));
  }
}

void AgentEventDispatcher::unregisterEventName(const std::string& name,
                                               AgentEventReceiver* target) {
  const auto found = dispatchMap_.find(name);
  if (found == dispatchMap_.end()) return;
  AgentEventTarget* node = found->second.get();
  while (node->next() != nullptr) {
    if (node->next()->target() == target) {
      node->removeNext();
    } else {
      node = node->next().get();
    }
  }
  if (found->second->target() == target) removeHead(found);
}

void AgentEventDispatcher::unregisterEventName(const std::string& name, AgentEventReceiver* target,
                                               Selector selector) {
  const auto found = dispatchMap_.find(name);
  if (found == dispatchMap_.end()) return;
  const auto matches = [&](const AgentEventTarget& node) {
    return node.target() == target && node.selector() == selector;
  };
  for (AgentEventTarget* node = found->second.get(); node->next() != nullptr;
       node = node->next().get()) {
    if (matches(*node->next())) {
      node->removeNext();
      return;
    }
  }
  if (matches(*found->second)) removeHead(found);
}

void AgentEventDispatcher::unregisterTarget(AgentEventReceiver* target) {
  std::vector<std::string> names;
  for (const auto& entry : dispatchMap_) names.push_back(entry.first);
  for (const std::string& name : names) unregisterEventName(name, target);
}

void AgentEventDispatcher::removeHead(DispatchMap::iterator entry) {
  const std::shared_ptr<AgentEventTarget> successor = entry->second->next();
  if (successor == nullptr) {
    dispatchMap_.erase(entry);
  } else {
    entry->second = successor;
  }
}

bool AgentEventDispatcher::isRegistered(const std::string& name,
                                        const AgentEventTarget& node) const {
  const auto found = dispatchMap_.find(name);
  if (found == dispatchMap_.end()) return false;
  const AgentEventTarget* registered = found->second.get();
  while (registered != nullptr && registered != &node) registered = registered->next().get();
  return registered != nullptr;
}

void AgentEventDispatcher::notifyAgentEvent(const std::string* eventName,
                                            const PropertyList::Dictionary& userInfo,
                                            const char* /*agentID*/) {
  if (eventName == nullptr) return;
  const auto found = dispatchMap_.find(*eventName);
  if (found == dispatchMap_.end()) return;
  std::vector<std::shared_ptr<AgentEventTarget>> nodes;
  for (auto node = found->second; node != nullptr; node = node->next()) nodes.push_back(node);
  for (const auto& node : nodes) {
    if (isRegistered(*eventName, *node)) node->performWithUserInfo(userInfo);
  }
}

}  // namespace kelvo
