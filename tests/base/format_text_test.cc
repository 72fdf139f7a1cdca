#include "base/format_text.h"

#include <gtest/gtest.h>

#include <limits>

namespace kelvo {
namespace {

TEST(FormatTextTest, FillsWhatItKnowsAndKeepsTheRest) {
  const std::int64_t large = std::numeric_limits<std::int64_t>::min();
  const struct {
    const char* format;
    std::vector<FormatArgument> arguments;
    const char* expected;
  } rows[] = {
      {"Locked by: %@ at %s", {"Ann", "noon"}, "Locked by: Ann at noon"},
      {"%2$@ locks %1$@, %2$@!", {"a.txt", "Ann"}, "Ann locks a.txt, Ann!"},
      {"%d %i %u %ld %lu %lld %qd", {1, 2, 3, 4, 5, 6, large}, "1 2 3 4 5 6 -9223372036854775808"},
      {"%.1f KB, %.0f, %f", {1.25, 2.5, -0.5}, "1.2 KB, 2, -0.500000"},
      {"%5d|%-5d|%05d", {42, 42, -42}, "   42|42   |-0042"},
      {"%@", {"%@ %n 100%%"}, "%@ %n 100%%"},
      // No argument of that kind.
      {"%d %@ %@", {"text", std::int64_t{1}}, "%d %@ %@"},
      {"%3$@", {"a", "b"}, "%3$@"},
      // What nobody may ask for.
      {"%n%p%x%c %*d", {"a", "b", "c", "d", 5}, "%n%p%x%c %*d"},
      {"%0$@ %100$@ %18446744073709551617$@", {"a"}, "%0$@ %100$@ %18446744073709551617$@"},
      {"%999999999999999999999d", {5}, "5"},
      {"%.999999999999999999999f", {0.5}, "0.500000"},
      {"%", {"a"}, "%"},
      {"%1$%@", {"a"}, "%1$a"},
      {"%l%@", {"a"}, "%la"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(FormatText(row.format, row.arguments), row.expected) << row.format;
  }
  EXPECT_EQ(FormatText("%.20f", {std::numeric_limits<double>::max()}).size(), 309u + 21u);
}

}  // namespace
}  // namespace kelvo
