#include "tests/macos/agent_replies.h"

#include <string_view>
#include <utility>

#include "agent/keyed_archive.h"
#include "agent/notifications_bridge.h"
#include "tests/support/agent_text.h"

namespace kelvo::test {
namespace {

constexpr int kMany = 50'000;
constexpr std::size_t kLongName = 80;

PortMessageBytes Event(const char* event, PropertyList::Dictionary info) {
  info.insert_or_assign("event_name", PropertyList(event));
  return {kAgentEventName, EncodeKeyedArchive(info)};
}

std::vector<ListRecord> RecordsOf(std::string_view folder) {
  std::vector<ListRecord> records;
  if (folder.ends_with("/many")) {
    for (int i = 0; i < kMany; ++i) {
      const std::string number = std::to_string(i);
      records.push_back({.name = std::string(kLongName - number.size(), 'n') + number});
    }
  } else {
    records = {{.name = "a", .fileId = "id-a"},
               {.name = "b", .status = 1},
               {.name = "c", .lock = 1, .lockHolder = "Ann", .lockTime = 1'000'000},
               {.name = "d", .lock = 2},
               {.name = "e", .lock = 3},
               {.name = "f", .denied = 1}};
  }
  return records;
}

std::string TextOf(const PropertyList::Dictionary& info, std::string_view key) {
  const PropertyList* value = FindValue(info, key);
  const std::string* text = value == nullptr ? nullptr : value->AsString();
  return text == nullptr ? std::string() : *text;
}

}  // namespace

std::vector<PortMessageBytes> AgentReplies(const PortMessageBytes& message, std::string* note) {
  *note = message.name;
  const auto info = DecodeKeyedArchive(message.archive, nullptr);
  if (!info) {
    *note += " (not an archive)";
    return {};
  }
  if (message.name == kReportStatusName) {
    return {{kConnectionStatusName, EncodeKeyedArchive({{"status", PropertyList(4)}})}};
  }
  const std::string event = TextOf(*info, "event_name");
  const std::string command = TextOf(*info, "command");
  const std::string path = TextOf(*info, "path");
  if (!event.empty()) *note = event;
  for (const std::string& word : {command, path}) *note += word.empty() ? "" : " " + word;
  if (event == "configuration_init") return {Event("configuration_updated", {})};
  if (command != "status-list") return {};
  return {Event("sync_status_list",
                {{"path", PropertyList(path)}, {"list", PropertyList(ListText(RecordsOf(path)))}})};
}

}  // namespace kelvo::test
