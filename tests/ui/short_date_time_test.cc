// Dates in the C library's own locales, of which LC_TIME alone is compiled: the rest takes long.
#include "ui/short_date_time.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <clocale>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "tests/support/fixture.h"

namespace kelvo {
namespace {

constexpr std::int64_t kEvening = 1700000000;  // 14 November 2023, 22:13:20 UTC

class ShortDateTimeTest : public test::Fixture {
 protected:
  void SetUp() override {
    if (!std::filesystem::exists("/usr/share/i18n/locales/de_DE")) {
      GTEST_SKIP() << "needs the sources of the locales (Debian: locales)";
    }
    ::setenv("TZ", "UTC0", 1);
    ::setenv("LOCPATH", home_.c_str(), 1);
  }
  void TearDown() override {
    std::setlocale(LC_TIME, "C");
    ::unsetenv("LOCPATH");
    ::unsetenv("TZ");
  }
  // Compiles a locale's times and makes them the process's.
  [[nodiscard]] bool UseTimesOf(const std::string& locale) {
    WriteFile(Home("times"), "LC_TIME\ncopy \"" + locale + "\"\nEND LC_TIME\n");
    // Without the other categories localedef falls over Japan's eras.
    const std::string source = locale == "ja_JP" ? locale : Home("times");
    const std::string command = "localedef --force --quiet -f UTF-8 -i '" + source + "' '" +
                                Home(locale + ".UTF-8") + "' >/dev/null 2>&1";
    // It complains of categories that are missing, which nobody asks for.
    (void)!std::system(command.c_str());
    return std::setlocale(LC_TIME, (locale + ".UTF-8").c_str()) != nullptr;
  }
};

TEST_F(ShortDateTimeTest, FollowsTheLocale) {
  const struct {
    const char* locale;
    const char* evening;
  } kRows[] = {
      {"en_US", "11/14/2023 10:13 PM"},
      {"en_GB", "14/11/23 22:13"},
      {"de_DE", "14.11.2023 22:13"},
      {"es_ES", "14/11/23 22:13"},
      {"fr_FR", "14/11/2023 22:13"},
      {"it_IT", "14/11/2023 22:13"},
      {"ja_JP", "2023年11月14日 22:13"},
      {"nl_NL", "14-11-23 22:13"},
      {"pl_PL", "14.11.2023 22:13"},
      {"pt_BR", "14/11/2023 22:13"},
      {"zh_CN", "2023年11月14日 22:13"},
      {"ms_MY", "Selasa 14 Nov 2023 22:13"},  // twelve hours without words for their halves
  };
  for (const auto& row : kRows) {
    ASSERT_TRUE(UseTimesOf(row.locale)) << row.locale;
    EXPECT_EQ(ShortDateTime(kEvening), row.evening) << row.locale;
  }
}

}  // namespace
}  // namespace kelvo
