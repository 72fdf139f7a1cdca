#include "tools/sample_agent/command_parser.h"

#include <charconv>
#include <limits>
#include <utility>
#include <vector>

#include "agent/sync_enums.h"
#include "base/string_utils.h"
#include "platform/linux/glib_ptr.h"
#include "tools/terminal_text.h"

namespace kelvo::sample_agent {
namespace {

using Words = std::vector<std::string>;

constexpr double kLongestHang = 86400;  // seconds

std::string Quote(const std::string& word) { return tools::QuotedText(word, 100); }

bool ParseInteger(const std::string& word, std::optional<std::int64_t>* number,
                  std::string* error) {
  int value = 0;
  const auto [end, code] = std::from_chars(word.data(), word.data() + word.size(), value);
  if (code != std::errc() || end != word.data() + word.size()) {
    *error = Quote(word) + " is not an integer";
    return false;
  }
  *number = value;
  return true;
}

std::string JoinWords(const Words& words, std::size_t first) {
  std::string text;
  for (std::size_t i = first; i < words.size(); ++i) {
    if (i > first) text += ' ';
    text += words[i];
  }
  return text;
}

// The readers of what follows a command's word. They are given the number of words that the
// command's form allows.

bool ReadNothing(const Words& /*words*/, Command* /*command*/, std::string* /*error*/) {
  return true;
}

bool ReadPath(const Words& words, Command* command, std::string* /*error*/) {
  command->path = words[1];
  return true;
}

bool ReadPathAndOwner(const Words& words, Command* command, std::string* error) {
  command->path = words[1];
  if (words.size() == 2) return true;
  if (words[2] != "by" || words.size() == 3) {
    *error = "after the path comes nothing, or \"by\" and a name";
    return false;
  }
  command->text = JoinWords(words, 3);
  return true;
}

bool ReadPathAndCode(const Words& words, Command* command, std::string* error) {
  command->path = words[1];
  command->number = static_cast<int>(sync::EPermissionsDenied::UPDATE_PERMISSIONS_DENIED);
  return words.size() == 2 || ParseInteger(words[2], &command->number, error);
}

bool ReadNumber(const Words& words, Command* command, std::string* error) {
  return ParseInteger(words[1], &command->number, error);
}

bool ReadNumberOrNothing(const Words& words, Command* command, std::string* error) {
  return words.size() == 1 || ParseInteger(words[1], &command->number, error);
}

bool ReadProjectAndPath(const Words& words, Command* command, std::string* /*error*/) {
  command->project = words[1];
  if (words.size() == 3) command->path = words[2];
  return true;
}

bool ReadProjectAndName(const Words& words, Command* command, std::string* /*error*/) {
  command->project = words[1];
  command->text = JoinWords(words, 2);
  return true;
}

bool ReadSeconds(const Words& words, Command* command, std::string* error) {
  const std::string& word = words[1];
  double seconds = 0;
  const auto [end, code] = std::from_chars(word.data(), word.data() + word.size(), seconds);
  if (code != std::errc() || end != word.data() + word.size() ||
      !(seconds >= 0 && seconds <= kLongestHang)) {
    *error = Quote(word) + " is not a number of seconds up to 86400";
    return false;
  }
  command->number = static_cast<std::int64_t>(seconds * 1000);
  return true;
}

bool ReadEvent(const Words& words, Command* command, std::string* error) {
  command->text = words[1];
  for (std::size_t i = 2; i < words.size(); ++i) {
    const std::size_t equals = words[i].find('=');
    if (equals == std::string::npos || equals == 0) {
      *error = Quote(words[i]) + " is not key=value";
      return false;
    }
    command->pairs.insert_or_assign(words[i].substr(0, equals), words[i].substr(equals + 1));
  }
  return true;
}

struct Form {
  std::string_view word;
  CommandKind kind;
  std::size_t leastWords;  // the command's own included
  std::size_t mostWords;
  bool (*read)(const Words& words, Command* command, std::string* error);
  std::string_view usage;
  std::string_view meaning;
};

constexpr std::size_t kAnyNumber = std::numeric_limits<std::size_t>::max();

constexpr Form kForms[] = {
    {"dirty", CommandKind::kDirty, 2, 2, ReadPath, "dirty PATH",
     "the item has changes that are not in sync yet"},
    {"clean", CommandKind::kClean, 2, 2, ReadPath, "clean PATH", "the item is in sync"},
    {"lock", CommandKind::kLock, 2, kAnyNumber, ReadPathAndOwner, "lock PATH [by NAME]",
     "somebody else, or without a name the user, has locked the item"},
    {"pending", CommandKind::kPending, 2, 2, ReadPath, "pending PATH",
     "the user's unlock is on its way"},
    {"unlock", CommandKind::kUnlock, 2, 2, ReadPath, "unlock PATH", "nobody has locked the item"},
    {"deny", CommandKind::kDeny, 2, 3, ReadPathAndCode, "deny PATH [CODE]",
     "the item violates permissions (code 2: may not be updated)"},
    {"allow", CommandKind::kAllow, 2, 2, ReadPath, "allow PATH", "it does not"},
    {"public", CommandKind::kPublic, 2, 2, ReadPath, "public PATH", "the item has a public link"},
    {"private", CommandKind::kPrivate, 2, 2, ReadPath, "private PATH", "it has none"},
    {"status", CommandKind::kStatus, 2, 2, ReadNumber, "status N",
     "the Agent's own connection status (4 at first: connected)"},
    {"result", CommandKind::kResult, 2, 2, ReadNumber, "result N",
     "how later lock and unlock requests end (0 at first: well)"},
    {"drop", CommandKind::kDrop, 1, 1, ReadNothing, "drop",
     "close all connections and go on listening"},
    {"hang", CommandKind::kHang, 2, 2, ReadSeconds, "hang SECONDS",
     "neither read nor write nor accept for a while"},
    {"send", CommandKind::kSend, 2, kAnyNumber, ReadEvent, "send EVENT [KEY=VALUE ...]",
     "send any event"},
    {"list", CommandKind::kList, 2, 2, ReadPath, "list PATH",
     "send the list of a folder that nobody asked for"},
    {"reset", CommandKind::kReset, 1, 1, ReadNothing, "reset",
     "tell that everything said so far is void"},
    {"subscribe", CommandKind::kSubscribe, 2, 3, ReadProjectAndPath, "subscribe ID [PATH]",
     "the project is subscribed, in this folder"},
    {"unsubscribe", CommandKind::kUnsubscribe, 2, 2, ReadProjectAndPath, "unsubscribe ID",
     "it is not; its folder stays on disk"},
    {"rename-project", CommandKind::kRenameProject, 3, kAnyNumber, ReadProjectAndName,
     "rename-project ID NAME", "the project has another name"},
    {"move-project", CommandKind::kMoveProject, 3, 3, ReadProjectAndPath, "move-project ID PATH",
     "its folder is found there from now on"},
    {"settings-changed", CommandKind::kSettingsChanged, 1, 2, ReadNumberOrNothing,
     "settings-changed [HINT]", "tell that settings files have changed"},
    {"help", CommandKind::kHelp, 1, 1, ReadNothing, "help", "this list"},
    {"quit", CommandKind::kQuit, 1, 1, ReadNothing, "quit", "end the Agent"},
};

std::optional<Words> SplitWords(std::string_view line, std::string* error) {
  if (!IsValidUtf8(line) || line.find('\0') != std::string_view::npos) {
    *error = "the line is not UTF-8 text";
    return std::nullopt;
  }
  int count = 0;
  char** words = nullptr;
  GErrorSlot slot;
  if (!g_shell_parse_argv(std::string(line).c_str(), &count, &words, slot.out())) {
    if (g_error_matches(slot.get(), G_SHELL_ERROR, G_SHELL_ERROR_EMPTY_STRING)) return Words();
    *error = slot.text();
    return std::nullopt;
  }
  Words owned(words, words + count);
  g_strfreev(words);
  return owned;
}

}  // namespace

std::optional<Command> ParseCommand(std::string_view line, std::string* error) {
  error->clear();
  const std::optional<Words> words = SplitWords(line, error);
  if (!words.has_value() || words->empty()) return std::nullopt;
  for (const Form& form : kForms) {
    if (words->front() != form.word) continue;
    Command command;
    command.kind = form.kind;
    if (words->size() < form.leastWords || words->size() > form.mostWords) {
      *error = "usage: " + std::string(form.usage);
      return std::nullopt;
    }
    if (!form.read(*words, &command, error)) return std::nullopt;
    return command;
  }
  *error = "unknown command " + Quote(words->front()) + "; \"help\" lists them";
  return std::nullopt;
}

std::string CommandHelp() {
  constexpr std::size_t kMeaningColumn = 30;
  std::string help =
      "PATH is absolute or relative to the served folder; quote it as in a shell. ID is a "
      "project's.";
  for (const Form& form : kForms) {
    std::string line(form.usage);
    line.resize(kMeaningColumn, ' ');
    help += "\n  " + line + std::string(form.meaning);
  }
  return help;
}

}  // namespace kelvo::sample_agent
