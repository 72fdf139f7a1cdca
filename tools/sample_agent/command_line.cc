#include "tools/sample_agent/command_line.h"

#include <charconv>
#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>

#include "base/string_utils.h"
#include "deployment.h"
#include "platform/linux/glib_ptr.h"
#include "tools/sample_agent/command_parser.h"
#include "tools/terminal_text.h"

namespace kelvo::sample_agent {
namespace {

constexpr int kUsageError = 2;
constexpr int kFailure = 1;
constexpr double kLongestSettleTime = 86400;  // seconds

constexpr char kHelp[] = R"(usage: kelvo-sample-agent [OPTION...] FOLDER

Serves FOLDER to the Kelvo Finder Sync extension as an Agent does, without a service behind it.
What it receives and sends is printed; commands on standard input change what it says.

  --scenario FILE    take states of items, projects and public links from a property list
  --no-config        leave the account's settings file alone
  --settle SECONDS   how long a changed file stays out of sync (default: 2)
  --help             this text
  --version          the version

Commands:
)";

int Complain(const std::string& what) {
  tools::PrintError(what);
  tools::PrintError("try --help");
  return kUsageError;
}

bool ParseSettleTime(std::string_view text, std::chrono::milliseconds* time) {
  double seconds = 0;
  const auto [end, code] = std::from_chars(text.data(), text.data() + text.size(), seconds);
  if (code != std::errc() || end != text.data() + text.size() ||
      !(seconds >= 0 && seconds <= kLongestSettleTime)) {
    return false;
  }
  *time = std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000));
  return true;
}

// The folder's absolute path, or why it cannot be served.
std::optional<std::string> FolderToServe(const char* folder, std::string* error) {
  const GLibPtr<char> absolute(g_canonicalize_filename(folder, nullptr));
  const std::string path = absolute.get();
  std::error_code failure;
  if (!std::filesystem::is_directory(path, failure)) {
    *error = "not a folder: " + tools::PrintableText(path);
  } else if (path == "/") {
    *error = "the root of the file system cannot be served";
  } else if (!IsValidUtf8(path)) {
    *error = "not a UTF-8 path, which an Agent cannot say: " + tools::PrintableText(path);
  } else {
    return path;
  }
  return std::nullopt;
}

struct Arguments {
  gboolean noConfig = FALSE;
  gboolean help = FALSE;
  gboolean version = FALSE;
  GLibPtr<char> scenario;
  GLibPtr<char> settle;
  std::vector<std::string> folders;
};

bool ReadArguments(int argc, char** argv, Arguments* arguments, std::string* error) {
  char* scenario = nullptr;
  char* settle = nullptr;
  // Bytes as they are: GLib's own numbers follow the locale.
  const GOptionEntry entries[] = {
      {"scenario", 0, 0, G_OPTION_ARG_FILENAME, &scenario, nullptr, nullptr},
      {"no-config", 0, 0, G_OPTION_ARG_NONE, &arguments->noConfig, nullptr, nullptr},
      {"settle", 0, 0, G_OPTION_ARG_FILENAME, &settle, nullptr, nullptr},
      {"help", 'h', 0, G_OPTION_ARG_NONE, &arguments->help, nullptr, nullptr},
      {"version", 0, 0, G_OPTION_ARG_NONE, &arguments->version, nullptr, nullptr},
      {nullptr, 0, 0, G_OPTION_ARG_NONE, nullptr, nullptr, nullptr}};
  GOptionContext* context = g_option_context_new(nullptr);
  g_option_context_add_main_entries(context, entries, nullptr);
  g_option_context_set_help_enabled(context, FALSE);
  GErrorSlot failure;
  const bool understood = g_option_context_parse(context, &argc, &argv, failure.out()) == TRUE;
  g_option_context_free(context);
  arguments->scenario.reset(scenario);
  arguments->settle.reset(settle);
  if (!understood) {
    *error = tools::PrintableText(failure.text());
    return false;
  }
  for (int i = 1; i < argc; ++i) {
    if (i == 1 && std::string_view(argv[i]) == "--") continue;
    arguments->folders.emplace_back(argv[i]);
  }
  return true;
}

}  // namespace

CommandLine ParseCommandLine(int argc, char** argv) {
  CommandLine result;
  Arguments arguments;
  std::string error;
  if (!ReadArguments(argc, argv, &arguments, &error)) {
    result.exitCode = Complain(error);
  } else if (arguments.help) {
    tools::PrintLine(kHelp + CommandHelp());
  } else if (arguments.version) {
    tools::PrintLine(std::string("kelvo-sample-agent ") + deployment::kVersion);
  } else if (arguments.folders.size() != 1) {
    result.exitCode = Complain("one folder to serve is needed");
  } else if (arguments.settle != nullptr &&
             !ParseSettleTime(arguments.settle.get(), &result.options.settleTime)) {
    result.exitCode = Complain("--settle takes a number of seconds");
  } else if (const auto folder = FolderToServe(arguments.folders[0].c_str(), &error);
             !folder.has_value()) {
    tools::PrintError(error);
    result.exitCode = kFailure;
  } else {
    result.serve = true;
    result.options.folder = *folder;
    if (arguments.scenario != nullptr) result.options.scenario = arguments.scenario.get();
    result.options.writeAccount = arguments.noConfig == FALSE;
  }
  return result;
}

}  // namespace kelvo::sample_agent
