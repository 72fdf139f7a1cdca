#include "base/time_utils.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <limits>

namespace kelvo {
namespace {

TEST(DateToStringTest, ModeZeroIsLocalTime) {
  const struct {
    const char* zone;
    std::int64_t time;
    int mode;
    const char* expected;
  } rows[] = {
      {"UTC0", 0, 0, "1970-01-01 00:00:00"},
      {"XYZ-5:30", 0, 0, "1970-01-01 05:30:00"},
      {"XYZ8", 1'700'000'000, 0, "2023-11-14 14:13:20"},
      {"UTC0", -1, 0, "1969-12-31 23:59:59"},
      {"UTC0", 0, 1, "0"},
      {"UTC0", 1'700'000'000, -7, "1700000000"},
      {"UTC0", -1, 1, "18446744073709551615"},
      {"UTC0", std::numeric_limits<std::int64_t>::max(), 0, "9223372036854775807"},
  };
  for (const auto& row : rows) {
    setenv("TZ", row.zone, 1);
    EXPECT_EQ(DateToString(row.time, row.mode), row.expected) << row.zone;
  }
  unsetenv("TZ");
}

}  // namespace
}  // namespace kelvo
