#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/string_map.h"

namespace kelvo::sample_agent {

enum class CommandKind {
  kDirty,
  kClean,
  kLock,
  kPending,
  kUnlock,
  kDeny,
  kAllow,
  kPublic,
  kPrivate,
  kStatus,
  kResult,
  kDrop,
  kHang,
  kSend,
  kList,
  kReset,
  kSubscribe,
  kUnsubscribe,
  kRenameProject,
  kMoveProject,
  kSettingsChanged,
  kHelp,
  kQuit,
};

// One line of standard input, understood.
struct Command {
  CommandKind kind = CommandKind::kHelp;
  std::string path;  // as it was typed; for the commands that take one
  // kLock: the owner, empty for the user; kSend: the event's name; kRenameProject: the new name.
  std::string text;
  // kDeny, kStatus, kResult, kSettingsChanged: the value; kHang: milliseconds. None: not typed.
  std::optional<std::int64_t> number;
  std::string project;  // its id; for the commands about projects
  StringMap pairs;      // kSend
};

// Words are separated by blanks; quotes and backslashes work as in a shell, and a word that begins
// with "#" starts a comment. nullopt with an empty `error` for a line without words, and with the
// reason for one that is not understood.
std::optional<Command> ParseCommand(std::string_view line, std::string* error);

// What can be typed, one command a line.
std::string CommandHelp();

}  // namespace kelvo::sample_agent
