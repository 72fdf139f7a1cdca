#include "tools/sample_agent/deeds.h"

#include <cstddef>
#include <string_view>

#include "agent/notifications_bridge.h"
#include "tools/terminal_text.h"

namespace kelvo::sample_agent {
namespace {

constexpr std::size_t kShownSize = 4096;  // bytes; no path is longer

std::string TextOf(const AgentMessage& message, std::string_view key) {
  const PropertyList* value = FindValue(message.info, key);
  return value == nullptr ? std::string() : value->ToText().value_or("");
}

std::string Quoted(const AgentMessage& message, std::string_view key) {
  return tools::QuotedText(TextOf(message, key), kShownSize);
}

}  // namespace

std::string DescribeDeed(const AgentMessage& request, const std::vector<Answer>& answers) {
  if (request.name != kAgentEventName) return {};
  const std::string event = TextOf(request, "event_name");
  const std::string command = TextOf(request, "command");
  if (event == "sync_request" && (command == "lock" || command == "unlock")) {
    return "done: " + command + ' ' + Quoted(request, "path") + ", result " +
           (answers.empty() ? "none" : TextOf(answers.back().message, "result"));
  }
  if (event == "open_file") return "done: open " + Quoted(request, "path");
  if (event == "show_message") {
    return "shown: message " + Quoted(request, "title") + ": " + Quoted(request, "text");
  }
  if (event != "finder_prequest") return {};
  if (command == "show-public-link-dialog") {
    return "shown: public-link dialog for " + Quoted(request, "path") + ", file id " +
           Quoted(request, "file-id");
  }
  return command == "show-permissions-violations" ? "shown: permission-violations dialog"
                                                  : std::string();
}

}  // namespace kelvo::sample_agent
