// What an Agent says, as values. Every value of an event is a text, numbers in decimal.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/property_list.h"
#include "tools/sample_agent/item.h"

namespace kelvo::sample_agent {

// One message of the channel, in either direction.
struct AgentMessage {
  std::string name;
  PropertyList::Dictionary info;
};

AgentMessage Event(std::string eventName, PropertyList::Dictionary pairs);

// One item has changed.
AgentMessage SyncItemEvent(const std::string& path, const Item& item);
// Everything in one folder.
AgentMessage StatusListEvent(const std::string& folder, const std::vector<ListedItem>& items);
// How a lock or unlock has ended; result 0 is success.
AgentMessage CommandResponse(const std::string& command, const std::string& path, int result);
AgentMessage PublicLinksResponse(const std::string& listName,
                                 const std::vector<std::string>& paths);
// `command` is the request's: "subscribed-projects" or "not-subscribed-projects".
AgentMessage ProjectsResponse(const std::string& command, std::string projectList);
// Everything said so far is void; ask again.
AgentMessage ResetResponse();
// Nothing is on its way any more, so that projects may have changed: ask for them anew.
AgentMessage SyncIdle();
// `hint`: which settings; nullopt: not told.
AgentMessage SettingsChanged(std::optional<std::int64_t> hint);
// `now`: seconds since 1970.
AgentMessage ConnectionStatus(int status, std::int64_t now);

// One line for the terminal: the event's name or the message's, then key=value for the rest, with a
// value in quotes where it is empty, long or holds blanks.
std::string Describe(const AgentMessage& message);

}  // namespace kelvo::sample_agent
