#include "tools/sample_agent/command_parser.h"

#include <gtest/gtest.h>

namespace kelvo::sample_agent {
namespace {

// What a command holds, as one text: "path|text|number|project|key=value...".
std::string Holds(const Command& command) {
  std::string text = command.path + '|' + command.text + '|';
  if (command.number.has_value()) text += std::to_string(*command.number);
  text += '|' + command.project + '|';
  for (const auto& [key, value] : command.pairs) text += key + '=' + value + ' ';
  return text;
}

TEST(CommandParserTest, UnderstandsWhatIsTyped) {
  const struct {
    const char* line;
    CommandKind kind;
    const char* holds;
  } kRows[] = {
      {"dirty a.txt", CommandKind::kDirty, "a.txt||||"},
      {"  clean 'my file'  ", CommandKind::kClean, "my file||||"},
      {"lock my\\ file", CommandKind::kLock, "my file||||"},
      {"lock by by Ann van Dam", CommandKind::kLock, "by|Ann van Dam|||"},
      {"unlock \"a\\\"b\"", CommandKind::kUnlock, "a\"b||||"},
      {"deny a", CommandKind::kDeny, "a||2||"},
      {"deny a -7", CommandKind::kDeny, "a||-7||"},
      {"public 'a b'", CommandKind::kPublic, "a b||||"},
      {"hang 0.25", CommandKind::kHang, "||250||"},
      {"status 1 # offline", CommandKind::kStatus, "||1||"},
      {"send x", CommandKind::kSend, "|x|||"},
      {"send x a=1 'b=c d' e= f==", CommandKind::kSend, "|x|||a=1 b=c d e= f== "},
      {"subscribe 7", CommandKind::kSubscribe, "|||7|"},
      {"subscribe 7 '/a b'", CommandKind::kSubscribe, "/a b|||7|"},
      {"rename-project 7 New name", CommandKind::kRenameProject, "|New name||7|"},
      {"settings-changed", CommandKind::kSettingsChanged, "||||"},
      {"settings-changed 2048", CommandKind::kSettingsChanged, "||2048||"},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.line);
    std::string error;
    const std::optional<Command> command = ParseCommand(row.line, &error);
    ASSERT_TRUE(command.has_value()) << error;
    EXPECT_EQ(command->kind, row.kind);
    EXPECT_EQ(Holds(*command), row.holds);
  }
}

TEST(CommandParserTest, TellsWhatItDoesNotUnderstand) {
  const struct {
    std::string line;
    const char* error;  // part of it; empty: nothing to complain about
  } kRows[] = {
      {"", ""},
      {"# a comment", ""},
      {"dirty", "usage: dirty PATH"},
      {"drop now", "usage: drop"},
      {"move-project 7", "usage: move-project ID PATH"},
      {"lock a for Ann", "\"by\" and a name"},
      {"lock a by", "\"by\" and a name"},
      {"deny a seven", "\"seven\" is not an integer"},
      {"status 99999999999", "is not an integer"},
      {"status 4x", "is not an integer"},
      {"hang nan", "is not a number of seconds"},
      {"hang 1,5", "is not a number of seconds"},
      {"send x =1", "is not key=value"},
      {"dirty 'a", "quot"},
      {std::string("dirty a\0b", 9), "not UTF-8"},
      {"\x1b[2J", "unknown command \"\\x1b[2J\""},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.line);
    std::string error = "left over";
    EXPECT_FALSE(ParseCommand(row.line, &error).has_value());
    EXPECT_NE(error.find(row.error), std::string::npos) << error;
    EXPECT_EQ(error.empty(), *row.error == '\0') << error;
  }
}

}  // namespace
}  // namespace kelvo::sample_agent
