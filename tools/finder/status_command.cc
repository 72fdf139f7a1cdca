#include "tools/finder/command.h"
#include "tools/finder/extension_client.h"
#include "tools/terminal_text.h"

namespace kelvo::finder {
namespace {

// One property; several values stand below each other.
void Print(std::string name, const std::vector<std::string>& values) {
  constexpr std::size_t kValueColumn = 16;
  name.resize(kValueColumn, ' ');
  if (values.empty()) tools::PrintLine(name + "none");
  for (const std::string& value : values) {
    tools::PrintLine(name + value);
    name.assign(kValueColumn, ' ');
  }
}

}  // namespace

int RunStatus(const Command& command, const Arguments& arguments) {
  if (!arguments.empty()) return Complain(command);
  std::string error;
  const auto client = ExtensionClient::Connect(&error);
  if (client == nullptr) return Fail(error);
  const auto properties = client->ReadProperties(&error);
  if (!properties.has_value()) return Fail(error);

  std::vector<std::string> directories;
  for (const std::string& directory : properties->directories) {
    directories.push_back(tools::PrintableText(directory));
  }
  const BadgeList list(properties->badges);
  std::vector<std::string> badges;
  for (const BadgeKind& kind : properties->badges) {
    badges.push_back(list.Line(kind.icon, kind.badge));
  }
  Print("Version", {tools::PrintableText(properties->version)});
  Print("AgentConnected", {properties->agentConnected ? "yes" : "no"});
  Print("DirectoryURLs", directories);
  Print("Badges", badges);
  return kSuccess;
}

}  // namespace kelvo::finder
