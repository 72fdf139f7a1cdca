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

TEST_F(FinderConfigurationTest, MissingFileAndWrongTypesGiveEveryDefault) {
  for (const bool missing : {true, false}) {
    if (!missing) {
      WriteUserInfo(
          "<key>trace_level</key><array/><key>show_green_checkmarks</key><dict/>"
          "<key>rcid</key><data>AAAA</data><key>sync_file_locking</key><data/>");
    }
    CFinderConfiguration configuration;
    configuration.Load();
    EXPECT_EQ(configuration.WorkplaceFolder(), Home("Kelvo Workplace (KelvoAgent)"));
    EXPECT_EQ(configuration.TraceLevel(), 3);
    EXPECT_TRUE(configuration.ShowGreenCheckmarks());
    EXPECT_FALSE(configuration.SyncFileLocking());
    EXPECT_EQ(configuration.AuthenticationKey(), "");
    EXPECT_EQ(configuration.ClientId(), "");
  }
  EXPECT_TRUE(fake_.secrets.calls.empty()) << "without an rcid there is no key to read";
}

TEST_F(FinderConfigurationTest, NameFallsBackToMailAndMailToUserAndTheLogLevelIsSet) {
  CFinderConfiguration user(PropertyList::Dictionary{{"user", "u"}, {"trace_level", 4}});
  user.Load();
  EXPECT_EQ(CLogger::m_Instance.load()->Level(), 4);
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

}  // namespace
}  // namespace kelvo::test
