#include "settings/update_settings.h"

#include <string>

#include "deployment.h"
#include "settings/fingerprint_settings.h"
#include "settings/properties.h"
#include "tests/support/fixture.h"

namespace kelvo {
namespace {

using UpdateSettingsTest = test::Fixture;
using FingerprintSettingsTest = test::Fixture;

TEST_F(UpdateSettingsTest, TheWebServerIsWrittenForBoth) {
  const std::string path = kelvoUpdateSettings::defaultFilename();
  EXPECT_FALSE(kelvoUpdateSettings().loadSettings());
  EXPECT_EQ(kelvoUpdateSettings::settings().updateServerName(), deployment::kDefaultWebServer);
  EXPECT_TRUE(ChangePropertiesInFile(path, {{"update_server", "u.example"}, {"theirs", 1}}));
  kelvoUpdateSettings settings = kelvoUpdateSettings::settings();
  EXPECT_EQ(settings.webServerName(), deployment::kDefaultWebServer);
  EXPECT_EQ(settings.updateServerName(), "u.example");
  settings.setWebServerName("w.example");
  EXPECT_TRUE(settings.store());
  EXPECT_EQ(LoadPropertiesFromFile(path),
            (PropertyList::Dictionary{
                {"web_server", "w.example"}, {"update_server", "w.example"}, {"theirs", 1}}));
  settings.setWebServerName("\xFF");
  EXPECT_FALSE(settings.store());
  EXPECT_EQ(LoadPropertiesFromFile(path)->size(), 3u);
}

TEST_F(FingerprintSettingsTest, KeepTheArrayThatLastParsed) {
  kelvo_FingerprintSettings settings(Home("account_2"));
  const PropertyList::Array prints{PropertyList::Dictionary{{"a", 1}}, "other"};
  EXPECT_TRUE(settings.load());
  settings.setFingerprintsArray(prints);
  EXPECT_TRUE(settings.store());
  kelvo_FingerprintSettings again(Home("account_2"));
  EXPECT_TRUE(again.load());
  EXPECT_EQ(again.getFingerprintsArray(), prints);
  WriteFile(Home("account_2/finger_prints.plist"), "x");
  EXPECT_TRUE(again.load());
  EXPECT_TRUE(again.isEqualToAgentSettings(settings));
  kelvo_FingerprintSettings without("");
  EXPECT_FALSE(without.load());
  EXPECT_FALSE(without.store());
}

}  // namespace
}  // namespace kelvo
