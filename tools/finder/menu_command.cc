#include <glib.h>

#include <chrono>
#include <cstddef>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/glib_ptr.h"
#include "tools/finder/command.h"
#include "tools/finder/extension_client.h"
#include "tools/finder/menu_client.h"
#include "tools/terminal_text.h"

namespace kelvo::finder {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kWaitToChoose{5000};
constexpr milliseconds kWaitForLink{10'000};
// The extension has no menu for a larger selection.
constexpr std::size_t kMostItems = 100'000;
constexpr std::size_t kMostBytes = std::size_t{16} << 20;  // of the absolute paths
constexpr char kTooLarge[] = "no menu: more than 100000 items or 16 MiB of paths";
constexpr char kCopyLink[] = "copyLinkButtonPressed";

// The absolute paths of a selection that is not too large.
class SelectedPaths {
 public:
  void Add(const std::string& path) {
    if (tooLarge_ || path.size() > kMostBytes) {
      tooLarge_ = true;
      return;
    }
    paths_.push_back(AbsolutePath(path));
    bytes_ += paths_.back().size();
    tooLarge_ = paths_.size() > kMostItems || bytes_ > kMostBytes;
  }
  bool TooLarge() const { return tooLarge_; }
  const std::vector<std::string>& Paths() const { return paths_; }

 private:
  std::vector<std::string> paths_;
  std::size_t bytes_ = 0;
  bool tooLarge_ = false;
};

struct MenuOptions {
  std::string title;  // of the line to choose
  SelectedPaths selected;
  bool readInput = false;
  milliseconds wait{0};
};

// `titled`: the first argument is a title. nullopt when the arguments are not understood.
std::optional<MenuOptions> Parse(const Arguments& arguments, bool titled, milliseconds wait) {
  MenuOptions options;
  options.wait = wait;
  bool optionsEnded = false;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    if (!optionsEnded && argument == "--") {
      optionsEnded = true;
    } else if (!optionsEnded && argument == "--wait") {
      if (++i == arguments.size() || !ParseSeconds(arguments[i], &options.wait)) {
        return std::nullopt;
      }
    } else if (!optionsEnded && argument == "--stdin0") {
      options.readInput = true;
    } else if (argument.empty() || (!optionsEnded && argument.starts_with("-"))) {
      return std::nullopt;
    } else if (titled && options.title.empty()) {
      options.title = argument;
    } else {
      options.selected.Add(argument);
    }
  }
  if (titled == options.title.empty()) return std::nullopt;
  if (options.readInput != options.selected.Paths().empty()) return std::nullopt;
  return options;
}

// Paths from standard input, each ended by a zero byte but perhaps the last. Stops where the
// selection becomes too large.
void ReadInput(SelectedPaths* selected) {
  std::string path;
  char bytes[65536];
  while (const std::size_t count = std::fread(bytes, 1, sizeof bytes, stdin)) {
    std::string_view left(bytes, count);
    for (std::size_t end = left.find('\0'); end != left.npos; end = left.find('\0')) {
      path.append(left.substr(0, end));
      if (!path.empty()) selected->Add(path);
      path.clear();
      left.remove_prefix(end + 1);
      if (selected->TooLarge()) return;
    }
    path.append(left);
    if (path.size() > kMostBytes) break;
  }
  if (!path.empty()) selected->Add(path);
}

// The paths are known and few enough for a menu. False, told.
bool CompletePaths(MenuOptions* options) {
  if (options->readInput) ReadInput(&options->selected);
  if (options->selected.TooLarge()) {
    tools::PrintError(kTooLarge);
    return false;
  }
  if (options->selected.Paths().empty()) tools::PrintError("there are no paths on standard input");
  return !options->selected.Paths().empty();
}

// The selection's menu with at least one line; nullopt, told, when there is none.
std::optional<SelectionMenu> AskMenu(ExtensionClient& extension, MenuClient& menus,
                                     const MenuOptions& options) {
  std::string error;
  std::optional<SelectionMenu> menu = menus.Ask(options.selected.Paths(), options.wait, &error);
  if (!menu.has_value()) {
    tools::PrintError(error);
  } else if (menu->lines.empty()) {
    const std::string reason = ReasonForNothing(extension, options.selected.Paths());
    tools::PrintError("no menu" + (reason.empty() ? " for this selection" : ": " + reason));
    menu.reset();
  }
  return menu;
}

std::vector<std::string> RowOf(const MenuLine& line) {
  const char* mark = line.separator        ? "separator"
                     : line.action.empty() ? "told"
                     : line.enabled        ? "enabled"
                                           : "disabled";
  return {std::to_string(line.index), mark, tools::PrintableText(line.title),
          tools::PrintableText(line.action)};
}

bool BeginsWithWhateverTheCase(const std::string& text, const std::string& beginning) {
  if (g_utf8_validate(beginning.c_str(), -1, nullptr) == FALSE) return false;
  const GLibPtr<char> folded(g_utf8_casefold(text.c_str(), -1));
  const GLibPtr<char> foldedBeginning(g_utf8_casefold(beginning.c_str(), -1));
  return std::string_view(folded.get()).starts_with(foldedBeginning.get());
}

// The lines that the title may mean: the one that has it, else those that do something and begin
// with it.
std::vector<MenuLine> LinesMeant(const SelectionMenu& menu, const std::string& title) {
  std::vector<MenuLine> meant;
  for (const MenuLine& line : menu.lines) {
    if (line.separator) continue;
    if (line.title == title) return {line};
    if (!line.action.empty() && BeginsWithWhateverTheCase(line.title, title)) meant.push_back(line);
  }
  return meant;
}

// kFailure. Tells that the title means no line, or several.
int FailWithTitles(const std::string& reason, const std::vector<MenuLine>& lines) {
  std::string text = reason;
  for (const MenuLine& line : lines) {
    if (!line.separator) text += "\n  " + tools::PrintableText(line.title);
  }
  return Fail(text);
}

int ChooseLine(MenuClient& menus, const SelectionMenu& menu, const MenuLine& line) {
  std::string error;
  const bool copiesLink = line.action == kCopyLink;
  if (!menus.TakeClipboard(&error)) return Fail(error);
  if (!menus.Choose(menu, line, &error)) return Fail(error);
  if (!copiesLink) return kSuccess;
  const std::optional<std::string> link = menus.WaitForClipboard(kWaitForLink);
  if (!link.has_value()) return Fail("the extension has not copied the link within 10 seconds");
  tools::PrintLine(tools::PrintableText(*link));
  return kSuccess;
}

}  // namespace

int RunMenu(const Command& command, const Arguments& arguments) {
  std::optional<MenuOptions> options = Parse(arguments, false, milliseconds(0));
  if (!options.has_value()) return Complain(command);
  if (!CompletePaths(&*options)) return kFailure;

  std::string error;
  const auto extension = ExtensionClient::Connect(&error);
  if (extension == nullptr) return Fail(error);
  MenuClient menus(*extension);
  const std::optional<SelectionMenu> menu = AskMenu(*extension, menus, *options);
  if (!menu.has_value()) return kFailure;
  std::vector<std::vector<std::string>> rows;
  for (const MenuLine& line : menu->lines) rows.push_back(RowOf(line));
  tools::PrintTable(rows);
  return kSuccess;
}

int RunChoose(const Command& command, const Arguments& arguments) {
  std::optional<MenuOptions> options = Parse(arguments, true, kWaitToChoose);
  if (!options.has_value()) return Complain(command);
  if (!CompletePaths(&*options)) return kFailure;

  std::string error;
  const auto extension = ExtensionClient::Connect(&error);
  if (extension == nullptr) return Fail(error);
  MenuClient menus(*extension);
  const std::optional<SelectionMenu> menu = AskMenu(*extension, menus, *options);
  if (!menu.has_value()) return kFailure;
  const std::string title = tools::QuotedText(options->title, 200);
  const std::vector<MenuLine> meant = LinesMeant(*menu, options->title);
  if (meant.empty()) return FailWithTitles("no line " + title + "; there are:", menu->lines);
  if (meant.size() > 1) return FailWithTitles("several lines begin with " + title + ":", meant);
  return ChooseLine(menus, *menu, meant.front());
}

}  // namespace kelvo::finder
