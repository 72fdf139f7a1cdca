#include "tools/finder/command.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <filesystem>
#include <system_error>

#include "deployment.h"
#include "platform/linux/glib_ptr.h"
#include "tools/finder/extension_client.h"
#include "tools/terminal_text.h"

namespace kelvo::finder {
namespace {

constexpr double kLongestTime = 86400;  // seconds

constexpr Command kCommands[] = {
    {"badges", "badges [--wait SECONDS] [--describe] DIR",
     "list a folder's items with their badges", RunBadges},
    {"watch", "watch DIR", "observe a folder and tell each badge that changes", RunWatch},
    {"menu", "menu [--wait SECONDS] [--stdin0 | PATH...]",
     "list what the context menu of a selection offers", RunMenu},
    {"choose", "choose [--wait SECONDS] TITLE [--stdin0 | PATH...]", "choose a line of that menu",
     RunChoose},
    {"status", "status", "tell everything that the extension says about itself", RunStatus},
    {"projects", "projects", "list the account's projects as the extension knows them",
     RunProjects},
    {"settings", "settings [--account ID]", "tell what the account's settings files say",
     RunSettings},
    {"doctor", "doctor [--json]", "check all that badges and menus need, and tell what to do",
     RunDoctor},
};

void PrintHelp() {
  constexpr std::size_t kMeaningColumn = 32;
  std::string help =
      "usage: kelvo-finder COMMAND [ARGUMENT...]\n\n"
      "Asks the Kelvo Finder Sync extension what file managers ask, and shows what it goes by.\n\n"
      "Commands:\n";
  for (const Command& command : kCommands) {
    std::string line(command.usage);
    if (line.size() >= kMeaningColumn) line += '\n' + std::string(kMeaningColumn + 2, ' ');
    line.resize(std::max(line.size(), kMeaningColumn), ' ');
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

bool ParseSeconds(const std::string& text, std::chrono::milliseconds* duration) {
  double seconds = 0;
  const auto [end, code] = std::from_chars(text.data(), text.data() + text.size(), seconds);
  if (code != std::errc() || end != text.data() + text.size()) return false;
  if (!(seconds >= 0 && seconds <= kLongestTime)) return false;
  *duration = std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000));
  return true;
}

std::string ReasonForNothing(ExtensionClient& client, const std::vector<std::string>& paths) {
  std::string error;
  const auto properties = client.ReadProperties(&error);
  if (!properties.has_value()) return {};
  if (!properties->agentConnected) return "there is no Agent";
  for (const std::string& path : paths) {
    const auto holdsPath = [&path](const std::string& directory) {
      return path == directory || path.starts_with(directory + '/');
    };
    if (std::none_of(properties->directories.begin(), properties->directories.end(), holdsPath)) {
      return tools::PrintableText(path) + " is not below a watched folder";
    }
  }
  return {};
}

}  // namespace kelvo::finder
