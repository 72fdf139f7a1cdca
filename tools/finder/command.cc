#include "tools/finder/command.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "deployment.h"
#include "platform/linux/glib_ptr.h"
#include "tools/terminal_text.h"

namespace kelvo::finder {
namespace {

constexpr Command kCommands[] = {
    {"badges", "badges [--wait SECONDS] DIR", "list a folder's items with their badges", RunBadges},
    {"watch", "watch DIR", "observe a folder and tell each badge that changes", RunWatch},
    {"status", "status", "tell everything that the extension says about itself", RunStatus},
    {"projects", "projects", "list the account's projects as the extension knows them",
     RunProjects},
    {"settings", "settings [--account ID]", "tell what the account's settings files say",
     RunSettings},
};

void PrintHelp() {
  constexpr std::size_t kMeaningColumn = 32;
  std::string help =
      "usage: kelvo-finder COMMAND [ARGUMENT...]\n\n"
      "Asks the Kelvo Finder Sync extension what file managers ask, and shows what it goes by.\n\n"
      "Commands:\n";
  for (const Command& command : kCommands) {
    std::string line(command.usage);
    line.resize(kMeaningColumn, ' ');
    help += "  " + line + std::string(command.meaning) + '\n';
  }
  tools::PrintLine(help + "\nOptions:\n  --help     this text\n  --version  the version");
}

}  // namespace

int RunCommandLine(const Arguments& arguments) {
  const std::string first = arguments.empty() ? "" : arguments.front();
  if (first == "--help" || first == "-h") {
    PrintHelp();
    return kSuccess;
  }
  if (first == "--version") {
    tools::PrintLine(std::string("kelvo-finder ") + deployment::kVersion);
    return kSuccess;
  }
  for (const Command& command : kCommands) {
    if (command.name != first) continue;
    const Arguments rest(arguments.begin() + 1, arguments.end());
    if (rest.size() != 1 || rest.front() != "--help") return command.run(command, rest);
    tools::PrintLine("usage: kelvo-finder " + std::string(command.usage));
    return kSuccess;
  }
  tools::PrintError(first.empty() ? "a command is needed"
                                  : "unknown command " + tools::QuotedText(first, 100));
  tools::PrintError("try --help");
  return kUsageError;
}

int Complain(const Command& command) {
  tools::PrintError("usage: kelvo-finder " + std::string(command.usage));
  return kUsageError;
}

int Fail(const std::string& reason) {
  tools::PrintError(reason);
  return kFailure;
}

std::optional<std::vector<std::string>> ReadFolder(const std::string& folder) {
  std::vector<std::string> names;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    names.push_back(entry->path().filename().string());
  }
  if (error) {
    tools::PrintError("cannot read " + tools::PrintableText(folder) + ": " + error.message());
    return std::nullopt;
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string AbsolutePath(const std::string& path) {
  const GLibPtr<char> absolute(g_canonicalize_filename(path.c_str(), nullptr));
  return absolute.get();
}

}  // namespace kelvo::finder
