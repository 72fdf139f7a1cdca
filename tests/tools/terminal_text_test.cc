#include "tools/terminal_text.h"

#include <gtest/gtest.h>

#include "tools/finder/badge_entries.h"

namespace kelvo::tools {
namespace {

TEST(TerminalTextTest, ForeignTextCannotForgeALineOrSteerTheTerminal) {
  const struct {
    std::string bytes;
    const char* shown;
  } kRows[] = {
      {"J\xc3\xbcrgen \xe6\x97\xa5.txt", "J\xc3\xbcrgen \xe6\x97\xa5.txt"},
      {"a\nb\rc\td", "a\\nb\\rc\\td"},
      {"\\n", "\\\\n"},
      {"\x1b[31m\x7f", "\\x1b[31m\\x7f"},
      {std::string("a\0b", 3), "a\\x00b"},
      {"\xc2\x9b", "\\xc2\\x9b"},                   // the one-byte form of ESC [
      {"a\xe2\x80\xaetxt", "a\\xe2\\x80\\xaetxt"},  // right-to-left override
      {"\xff\xfe", "\\xff\\xfe"},
      {"a\xe6\x97", "a\\xe6\\x97"},                  // cut off
      {"\xed\xa0\x80", "\\xed\\xa0\\x80"},           // a surrogate
      {"\xc0\x80", "\\xc0\\x80"},                    // overlong zero
      {"\xf4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"},  // beyond Unicode
  };
  for (const auto& row : kRows) EXPECT_EQ(PrintableText(row.bytes), row.shown);
}

TEST(TerminalTextTest, AQuoteInsideIsEscapedAndALongTextCut) {
  EXPECT_EQ(QuotedText("say \"hi\"\\", 100), "\"say \\\"hi\\\"\\\\\"");
  EXPECT_EQ(QuotedText("abcdef", 3), "\"abc\"... (6 bytes)");
  EXPECT_EQ(QuotedText("abc", 3), "\"abc\"");
}

TEST(BadgeEntriesTest, RequestsStayBelowTheLimitAndLoseNoName) {
  const auto requests = finder::PackNames({"aa", "bb", "a name beyond the limit", "c"}, 6);
  ASSERT_EQ(requests.size(), 3u);
  EXPECT_EQ(requests[0].packed, std::string("aa\0bb\0", 6));
  EXPECT_EQ(requests[1].packed, std::string("a name beyond the limit\0", 24));
  EXPECT_EQ(requests[2].packed, std::string("c\0", 2));
}

}  // namespace
}  // namespace kelvo::tools
