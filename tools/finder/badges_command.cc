#include <charconv>
#include <chrono>

#include "platform/linux/glib_run_loop.h"
#include "tools/finder/command.h"
#include "tools/finder/extension_client.h"
#include "tools/terminal_text.h"

namespace kelvo::finder {
namespace {

constexpr double kLongestWait = 86400;  // seconds

struct BadgesOptions {
  std::string folder;
  std::chrono::milliseconds wait{2000};
};

bool ParseWait(const std::string& text, std::chrono::milliseconds* wait) {
  double seconds = 0;
  const auto [end, code] = std::from_chars(text.data(), text.data() + text.size(), seconds);
  if (code != std::errc() || end != text.data() + text.size()) return false;
  if (!(seconds >= 0 && seconds <= kLongestWait)) return false;
  *wait = std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000));
  return true;
}

std::optional<BadgesOptions> Parse(const Arguments& arguments) {
  BadgesOptions options;
  bool optionsEnded = false;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    if (!optionsEnded && argument == "--") {
      optionsEnded = true;
    } else if (!optionsEnded && argument == "--wait") {
      if (++i == arguments.size() || !ParseWait(arguments[i], &options.wait)) return std::nullopt;
    } else if (!options.folder.empty() || argument.empty() ||
               (!optionsEnded && argument.starts_with("-"))) {
      return std::nullopt;
    } else {
      options.folder = AbsolutePath(argument);
    }
  }
  if (options.folder.empty()) return std::nullopt;
  return options;
}

// Why a folder may be without badges, as far as the extension can tell.
void ExplainNoBadges(ExtensionClient& client, const std::string& folder) {
  std::string error;
  const auto properties = client.ReadProperties(&error);
  if (!properties.has_value()) return;
  if (!properties->agentConnected) {
    tools::PrintError("no badges: there is no Agent");
    return;
  }
  for (const std::string& directory : properties->directories) {
    if (folder == directory || folder.starts_with(directory + '/')) return;
  }
  tools::PrintError("no badges: the folder is not below a watched one");
}

}  // namespace

int RunBadges(const Command& command, const Arguments& arguments) {
  const std::optional<BadgesOptions> options = Parse(arguments);
  if (!options.has_value()) return Complain(command);
  const auto names = ReadFolder(options->folder);
  if (!names.has_value()) return kFailure;

  std::string error;
  const auto client = ExtensionClient::Connect(&error);
  if (client == nullptr) return Fail(error);
  const auto properties = client->ReadProperties(&error);
  if (!properties.has_value()) return Fail(error);

  BadgeList list(properties->badges);
  for (const std::string& name : *names) list.Add(name);
  GlibRunLoop runLoop(nullptr);
  std::string failure;
  const auto fail = [&](const std::string& reason) {
    failure = reason;
    runLoop.Quit();
  };
  client->OnBusLost([&] { fail("the session bus is gone"); });
  client->OnBadges(options->folder, [&](const BadgeEntry& entry) {
    if (list.Set(entry.name, entry.badge) && list.CountWithout() == 0) runLoop.Quit();
  });
  client->RequestBadges(*names, fail);
  runLoop.After(options->wait, [&] { runLoop.Quit(); });
  if (!names->empty()) runLoop.Run();
  if (!failure.empty()) return Fail(failure);

  for (const auto& [name, badge] : list.Badges()) tools::PrintLine(list.Line(name, badge));
  if (!names->empty() && list.CountWithout() == names->size()) {
    ExplainNoBadges(*client, options->folder);
  }
  return kSuccess;
}

}  // namespace kelvo::finder
