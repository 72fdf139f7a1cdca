#include "tools/sample_agent/agent_message.h"

#include <utility>

#include "agent/notifications_bridge.h"
#include "tools/sample_agent/list_text_writer.h"
#include "tools/terminal_text.h"

namespace kelvo::sample_agent {
namespace {

using tools::PrintableText;

constexpr std::size_t kShownValueSize = 200;  // bytes

template <typename Number>
std::string Decimal(Number number) {
  return std::to_string(static_cast<std::int64_t>(number));
}

// Bare where that is clear, else in quotes.
std::string Shown(const PropertyList& value) {
  const std::string text = value.ToText().value_or("?");
  const bool clear = !text.empty() && text.size() <= kShownValueSize &&
                     text.find_first_of(" \"") == std::string::npos;
  return clear ? PrintableText(text) : tools::QuotedText(text, kShownValueSize);
}

}  // namespace

AgentMessage Event(std::string eventName, PropertyList::Dictionary pairs) {
  pairs.insert_or_assign("event_name", std::move(eventName));
  return {kAgentEventName, std::move(pairs)};
}

AgentMessage SyncItemEvent(const std::string& path, const Item& item) {
  return Event("sync_item", {{"path", path},
                             {"file_id", item.fileId},
                             {"item_id", Decimal(item.itemId)},
                             {"status", Decimal(item.SyncStatus())},
                             {"lock", Decimal(item.lock)},
                             {"lock_holder", item.lockHolder},
                             {"locktime", Decimal(item.lockTime)},
                             {"modified_by", item.modifiedBy},
                             {"permissions", Decimal(item.permissions)},
                             {"denied", Decimal(item.denied)},
                             {"folder", item.folder ? "1" : "0"}});
}

AgentMessage StatusListEvent(const std::string& folder, const std::vector<ListedItem>& items) {
  return Event("sync_status_list", {{"path", folder}, {"list", WriteStatusList(items)}});
}

AgentMessage CommandResponse(const std::string& command, const std::string& path, int result) {
  return Event("sync_response",
               {{"command", command}, {"path", path}, {"result", Decimal(result)}});
}

AgentMessage PublicLinksResponse(const std::string& listName,
                                 const std::vector<std::string>& paths) {
  return Event(
      "sync_response",
      {{"command", "sync-lists"}, {"list-id", listName}, {"list", WritePublicLinks(paths)}});
}

AgentMessage ProjectsResponse(const std::string& command, std::string projectList) {
  return Event("sync_response", {{"command", command}, {"project-list", std::move(projectList)}});
}

AgentMessage ResetResponse() { return Event("sync_response", {{"command", "reset-status"}}); }

AgentMessage SyncIdle() {
  return Event("sync_status", {{"send-count", "0"}, {"receive-count", "0"}});
}

AgentMessage SettingsChanged(std::optional<std::int64_t> hint) {
  AgentMessage message{kSettingsChangedName, {}};
  if (hint.has_value()) message.info.emplace("hint", *hint);
  return message;
}

AgentMessage ConnectionStatus(int status, std::int64_t now) {
  return {kConnectionStatusName, {{"status", status}, {"timestamp", now}}};
}

std::string Describe(const AgentMessage& message) {
  const PropertyList* eventName = FindValue(message.info, "event_name");
  const bool isEvent = message.name == kAgentEventName && eventName != nullptr;
  std::string first;  // what a reader looks for
  std::string rest;
  for (const auto& [key, value] : message.info) {
    if (isEvent && &value == eventName) continue;
    std::string& place = key == "command" || key == "path" ? first : rest;
    place += ' ' + PrintableText(key) + '=' + Shown(value);
  }
  const std::string name = isEvent ? "event " + PrintableText(eventName->ToText().value_or("?"))
                                   : PrintableText(message.name);
  return name + first + rest;
}

}  // namespace kelvo::sample_agent
