#include <string>
#include <string_view>
#include <vector>

#include "settings/value_utilities.h"
#include "tools/finder/command.h"
#include "tools/finder/extension_client.h"
#include "tools/terminal_text.h"

namespace kelvo::finder {
namespace {

using Project = ExtensionClient::Project;
using Row = std::vector<std::string>;

struct Kind {
  std::string_view name;
  std::string_view title;
};
constexpr Kind kKinds[] = {{"synced", "Synced projects"},
                           {"external", "External projects"},
                           {"not-subscribed", "Projects that are not subscribed"}};

// The path comes last: it is the longest.
Row RowOf(const Project& project) {
  std::string status = project.status;
  if (project.readOnly) status += ", read-only";
  Row row{project.id, project.name, project.owner, status, project.path};
  for (std::string& cell : row) cell = cell.empty() ? "-" : tools::PrintableText(cell);
  return row;
}

void PrintTotal(const std::string& name, std::int64_t files, std::int64_t bytes) {
  tools::PrintLine(name + std::to_string(files) + " files, " + FileSizeString(bytes));
}

}  // namespace

int RunProjects(const Command& command, const Arguments& arguments) {
  if (!arguments.empty()) return Complain(command);
  std::string error;
  const auto client = ExtensionClient::Connect(&error);
  if (client == nullptr) return Fail(error);
  const auto projects = client->ListProjects(&error);
  if (!projects.has_value()) return Fail(error);

  for (const Kind& kind : kKinds) {
    std::vector<Row> rows;
    for (const Project& project : projects->projects) {
      if (project.kind == kind.name) rows.push_back(RowOf(project));
    }
    if (rows.empty()) continue;
    tools::PrintLine(kind.title);
    tools::PrintTable(rows);
  }
  PrintTotal("Synced      ", projects->syncedFiles, projects->syncedBytes);
  PrintTotal("Not synced  ", projects->notSyncedFiles, projects->notSyncedBytes);
  if (!projects->initialized) tools::PrintError("no list from the Agent yet");
  return kSuccess;
}

}  // namespace kelvo::finder
