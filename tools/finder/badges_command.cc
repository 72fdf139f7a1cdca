#include <chrono>

#include "platform/linux/glib_run_loop.h"
#include "tools/finder/command.h"
#include "tools/finder/extension_client.h"
#include "tools/terminal_text.h"

namespace kelvo::finder {
namespace {

struct BadgesOptions {
  std::string folder;
  std::chrono::milliseconds wait{2000};
  bool describe = false;
};

std::optional<BadgesOptions> Parse(const Arguments& arguments) {
  BadgesOptions options;
  bool optionsEnded = false;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    if (!optionsEnded && argument == "--") {
      optionsEnded = true;
    } else if (!optionsEnded && argument == "--wait") {
      if (++i == arguments.size() || !ParseSeconds(arguments[i], &options.wait))
        return std::nullopt;
    } else if (!optionsEnded && argument == "--describe") {
      options.describe = true;
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

// `descriptions`: of the list's items in order, or none.
void PrintBadges(const BadgeList& list,
                 const std::vector<ExtensionClient::Description>& descriptions) {
  auto description = descriptions.begin();
  for (const auto& [name, badge] : list.Badges()) {
    std::string line = list.Line(name, badge);
    if (description != descriptions.end()) {
      for (const std::string* text :
           {&description->state, &description->lockOwner, &description->permission}) {
        line += text->empty() ? "  -" : "  " + tools::PrintableText(*text);
      }
      ++description;
    }
    tools::PrintLine(line);
  }
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

  std::optional<std::vector<ExtensionClient::Description>> descriptions;
  if (options->describe) {
    descriptions = client->Describe(options->folder, *names, &error);
    if (!descriptions.has_value()) return Fail(error);
  }
  PrintBadges(list, descriptions.value_or(std::vector<ExtensionClient::Description>()));
  if (!names->empty() && list.CountWithout() == names->size()) {
    const std::string reason = ReasonForNothing(*client, {options->folder});
    if (!reason.empty()) tools::PrintError("no badges: " + reason);
  }
  return kSuccess;
}

}  // namespace kelvo::finder
