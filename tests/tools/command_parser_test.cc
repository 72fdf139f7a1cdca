#include "tools/sample_agent/command_parser.h"

#include <gtest/gtest.h>

namespace kelvo::sample_agent {
namespace {

TEST(CommandParserTest, UnderstandsWhatIsTyped) {
  const struct {
    const char* line;
    CommandKind kind;
    const char* path;
    const char* text;
    std::int64_t number;
    StringMap pairs;
  } kRows[] = {
      {"dirty a.txt", CommandKind::kDirty, "a.txt", "", 0, {}},
      {"  clean 'my file'  ", CommandKind::kClean, "my file", "", 0, {}},
      {"lock my\\ file", CommandKind::kLock, "my file", "", 0, {}},
      {"lock a by Ann", CommandKind::kLock, "a", "Ann", 0, {}},
      {"lock by by Ann van Dam", CommandKind::kLock, "by", "Ann van Dam", 0, {}},
      {"unlock \"a\\\"b\"", CommandKind::kUnlock, "a\"b", "", 0, {}},
      {"deny a", CommandKind::kDeny, "a", "", 2, {}},
      {"deny a -7", CommandKind::kDeny, "a", "", -7, {}},
      {"hang 0.25", CommandKind::kHang, "", "", 250, {}},
      {"status 1 # offline", CommandKind::kStatus, "", "", 1, {}},
      {"send x", CommandKind::kSend, "", "x", 0, {}},
      {"send x a=1 'b=c d' e= f==",
       CommandKind::kSend,
       "",
       "x",
       0,
       {{"a", "1"}, {"b", "c d"}, {"e", ""}, {"f", "="}}},
      {"drop", CommandKind::kDrop, "", "", 0, {}},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.line);
    std::string error;
    const std::optional<Command> command = ParseCommand(row.line, &error);
    ASSERT_TRUE(command.has_value()) << error;
    EXPECT_EQ(command->kind, row.kind);
    EXPECT_EQ(command->path, row.path);
    EXPECT_EQ(command->text, row.text);
    EXPECT_EQ(command->number, row.number);
    EXPECT_EQ(command->pairs, row.pairs);
  }
}

TEST(CommandParserTest, TellsWhatItDoesNotUnderstand) {
  const struct {
    std::string line;
    const char* error;  // part of it; empty: nothing to complain about
  } kRows[] = {
      {"", ""},
      {"   ", ""},
      {"# a comment", ""},
      {"dance", "unknown command \"dance\""},
      {"dirty", "usage: dirty PATH"},
      {"dirty a b", "usage: dirty PATH"},
      {"drop now", "usage: drop"},
      {"lock a for Ann", "\"by\" and a name"},
      {"lock a by", "\"by\" and a name"},
      {"deny a seven", "\"seven\" is not an integer"},
      {"status 99999999999", "is not an integer"},
      {"status 4x", "is not an integer"},
      {"hang -1", "is not a number of seconds"},
      {"hang nan", "is not a number of seconds"},
      {"hang 1,5", "is not a number of seconds"},
      {"send x =1", "is not key=value"},
      {"send x y", "is not key=value"},
      {"dirty 'a", "quot"},
      {"dirty \xff", "not UTF-8"},
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
