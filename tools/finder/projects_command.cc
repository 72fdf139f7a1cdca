#include <glib.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "settings/value_utilities.h"
#include "tools/finder/command.h"
#include "tools/finder/extension_client.h"
#include "tools/terminal_text.h"

namespace kelvo::finder {
namespace {

using Project = ExtensionClient::Project;
using Row = std::array<std::string, 5>;

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

std::size_t WidthOf(const std::string& cell) {
  return static_cast<std::size_t>(g_utf8_strlen(cell.c_str(), -1));
}

void PrintRows(const std::vector<Row>& rows) {
  std::array<std::size_t, std::tuple_size_v<Row>> widths{};
  for (const Row& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], WidthOf(row[i]));
  }
  for (const Row& row : rows) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      line += "  " + row[i];
      if (i + 1 < row.size()) line.append(widths[i] - WidthOf(row[i]), ' ');
    }
    tools::PrintLine(line);
  }
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
    PrintRows(rows);
  }
  PrintTotal("Synced      ", projects->syncedFiles, projects->syncedBytes);
  PrintTotal("Not synced  ", projects->notSyncedFiles, projects->notSyncedBytes);
  if (!projects->initialized) tools::PrintError("no list from the Agent yet");
  return kSuccess;
}

}  // namespace kelvo::finder
