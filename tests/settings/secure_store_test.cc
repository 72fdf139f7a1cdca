#include "settings/secure_store.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "settings/plist_user_defaults.h"
#include "settings/properties.h"
#include "tests/support/fixture.h"
#include "ui/notification_preferences.h"

namespace kelvo {
namespace {

class SecureStoreTest : public test::Fixture {
 protected:
  bool Store(const std::string& secret) {
    return StorePasswordData("S", "A", static_cast<std::uint32_t>(secret.size()), secret.data());
  }
};

TEST_F(SecureStoreTest, AnItemIsMadeOnceAndItsSecretIsAnyBytes) {
  EXPECT_TRUE(Store("one"));
  EXPECT_EQ(fake_.secrets.lastAccess.description, "S");
  EXPECT_EQ(fake_.secrets.lastAccess.applications.size(), 5u);
  EXPECT_TRUE(Store(std::string("t\0o", 3)));
  EXPECT_EQ(fake_.secrets.calls, (std::vector<std::string>{"create S A", "modify S A"}));
  std::string secret;
  EXPECT_TRUE(config::CSecureStore::Read("S", "A", secret));
  EXPECT_EQ(secret, std::string("t\0o", 3));
  EXPECT_TRUE(Store(""));
  EXPECT_TRUE(config::CSecureStore::Read("S", "A", secret));
  EXPECT_EQ(secret, "");
  EXPECT_TRUE(DeletePasswordData("S", "A"));
  EXPECT_TRUE(DeletePasswordData("S", "A")) << "what is not there";
  EXPECT_TRUE(fake_.secrets.items.empty());
}

class PlistUserDefaultsTest : public test::Fixture {
 protected:
  const std::string path_ = Home("Library/Preferences/defaults.plist");
};

TEST_F(PlistUserDefaultsTest, ChoicesOutliveTheProcessAndKeepForeignKeys) {
  EXPECT_TRUE(StorePropertiesToFile(path_, {{"foreign", "x"}, {"kelvo-dont-show-lock", true}}));
  PlistUserDefaults defaults(path_, fake_.settingsQueue);
  defaults.Load();
  SetNotificationPreferences(&defaults);
  EXPECT_FALSE(GetShowLockNotification());
  EXPECT_TRUE(GetShowUnlockNotification());
  EXPECT_FALSE(GetOpenFileAfterLock());
  SetShowLockNotification(true);
  SetShowUnlockNotification(false);
  SetOpenFileAfterLock(true);

  PlistUserDefaults later(path_, fake_.settingsQueue);
  later.Load();
  SetNotificationPreferences(&later);
  EXPECT_TRUE(GetShowLockNotification());
  EXPECT_FALSE(GetShowUnlockNotification());
  EXPECT_TRUE(GetOpenFileAfterLock());
  EXPECT_EQ(GetStringProperty(*LoadPropertiesFromFile(path_), "foreign"), "x");
}

TEST_F(PlistUserDefaultsTest, WhatWasSetBeforeTheLoadWins) {
  PlistUserDefaults defaults(path_, fake_.settingsQueue);
  defaults.Load();
  EXPECT_FALSE(std::filesystem::exists(path_)) << "made by looking";
  defaults.SetBool("a", false);
  EXPECT_TRUE(StorePropertiesToFile(path_, {{"a", true}, {"b", true}}));
  EXPECT_FALSE(defaults.GetBool("b"));
  defaults.Load();
  EXPECT_FALSE(defaults.GetBool("a"));
  EXPECT_TRUE(defaults.GetBool("b"));
}

TEST_F(PlistUserDefaultsTest, AValueThatCannotBeWrittenIsStillInForce) {
  WriteFile(Home("file"), "");
  PlistUserDefaults defaults(Home("file/defaults.plist"), fake_.settingsQueue);
  defaults.Load();
  fake_.settingsQueue.Hold(true);
  defaults.SetBool("a", true);
  EXPECT_TRUE(defaults.GetBool("a"));
  fake_.settingsQueue.RunAll();
  EXPECT_TRUE(defaults.GetBool("a"));
}

TEST_F(PlistUserDefaultsTest, WhatWaitsForTheFileIsWrittenInOneGo) {
  PlistUserDefaults defaults(path_, fake_.settingsQueue);
  fake_.settingsQueue.Hold(true);
  for (int i = 0; i < 100; ++i) {
    for (const char* key : {"a", "b"}) defaults.SetBool(key, i % 2 == 0);
  }
  defaults.SetBool("b", true);
  EXPECT_EQ(fake_.settingsQueue.Waiting(), 1U);
  fake_.settingsQueue.RunAll();
  defaults.SetBool("c", true);
  EXPECT_EQ(fake_.settingsQueue.Waiting(), 1U);
  fake_.settingsQueue.RunAll();
  EXPECT_EQ(LoadPropertiesFromFile(path_),
            (PropertyList::Dictionary{{"a", false}, {"b", true}, {"c", true}}));
}

}  // namespace
}  // namespace kelvo
