#include "core/finder_configuration.h"

#include <gtest/gtest.h>

#include "base/logger.h"
#include "tests/support/fixture.h"

namespace kelvo::test {
namespace {

class FinderConfigurationTest : public Fixture {
 protected:
  void WriteUserInfo(const std::string& entries) {
    WriteFile(Home("Library/Preferences/com.kelvo.vip/user_info.plist"),
              "<plist version=\"1.0\"><dict>" + entries + "</dict></plist>");
  }
  static std::string Entry(const std::string& key, const std::string& value) {
    return "<key>" + key + "</key><string>" + value + "</string>";
  }
};

TEST_F(FinderConfigurationTest, MissingFileGivesEveryDefault) {
  CFinderConfiguration configuration;
  configuration.Load();
  EXPECT_EQ(configuration.WorkplaceFolder(), Home("Kelvo Workplace (KelvoAgent)"));
  EXPECT_EQ(configuration.TraceLevel(), 3);
  EXPECT_TRUE(configuration.ShowGreenCheckmarks());
  EXPECT_FALSE(configuration.SyncFileLocking());
  EXPECT_EQ(configuration.AuthenticationKey(), "");
  EXPECT_TRUE(fake_.secrets.calls.empty()) << "without an rcid there is no key to read";
  EXPECT_EQ(LogCount("Changing log trace to: 3"), 1);
}

TEST_F(FinderConfigurationTest, WorkplaceFollowsTheLabel) {
  const std::string set = Entry("master_project_folder", "/elsewhere");
  const std::string empty = Entry("master_project_folder", "");
  const std::string plain = Entry("config_label", "Kelvo Agent");
  const std::string other = Entry("config_label", "Lab") + empty;
  const std::pair<std::string, std::string> rows[] = {
      {set, "/elsewhere"},
      {empty, Home("Kelvo Workplace (KelvoAgent)")},
      {plain, Home("Kelvo Workplace")},
      {other, Home("Kelvo Workplace (Lab)")},
  };
  for (const auto& [entries, folder] : rows) {
    WriteUserInfo(entries);
    CFinderConfiguration configuration;
    configuration.Load();
    EXPECT_EQ(configuration.WorkplaceFolder(), folder) << entries;
  }
}

TEST_F(FinderConfigurationTest, NameFallsBackToMailAndMailToUser) {
  CFinderConfiguration user(PropertyList::Dictionary{{"user", "u"}});
  user.Load();
  EXPECT_TRUE(user.IsUserMe("u"));
  EXPECT_TRUE(user.IsUserMe(""));
  EXPECT_FALSE(user.IsUserMe("U"));
  CFinderConfiguration mail(PropertyList::Dictionary{{"user", "u"}, {"email", "e"}});
  mail.Load();
  EXPECT_TRUE(mail.IsUserMe("e"));
  EXPECT_FALSE(mail.IsUserMe("u"));
}

TEST_F(FinderConfigurationTest, KeyComesFromTheSecretStoreUnderLabelAndClient) {
  fake_.secrets.items[{"Lab", "RC1"}] = std::string("\0key", 4);
  WriteUserInfo(Entry("config_label", "Lab") + Entry("rcid", "RC1"));
  CFinderConfiguration configuration;
  configuration.Load();
  EXPECT_EQ(configuration.AuthenticationKey(), std::string("\0key", 4));
  EXPECT_EQ(configuration.ClientId(), "RC1");
  fake_.secrets.failure = SecretStatus::kUnavailable;
  configuration.Load();
  EXPECT_EQ(configuration.AuthenticationKey(), "") << "an unreadable secret is an empty key";
}

TEST_F(FinderConfigurationTest, WrongTypesFallBackToDefaults) {
  WriteUserInfo(
      "<key>trace_level</key><array/><key>show_green_checkmarks</key><dict/>"
      "<key>rcid</key><data>AAAA</data><key>master_project_folder</key><true/>");
  CFinderConfiguration configuration;
  configuration.Load();
  EXPECT_EQ(configuration.TraceLevel(), 3);
  EXPECT_TRUE(configuration.ShowGreenCheckmarks());
  EXPECT_EQ(configuration.ClientId(), "");
}

TEST_F(FinderConfigurationTest, LoadSetsTheLogLevel) {
  CFinderConfiguration configuration(PropertyList::Dictionary{{"trace_level", 4}});
  configuration.Load();
  EXPECT_EQ(CLogger::m_Instance.load()->Level(), 4);
}

}  // namespace
}  // namespace kelvo::test
