// The platform's services as the extension calls them, over stand-ins and over GNUstep's own.
#include "tests/macos/stand_ins/services.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "base/file_system.h"
#include "deployment.h"
#include "platform/macos/asl_system_log.h"
#include "platform/macos/keychain_secret_store.h"
#include "platform/macos/mac_bundle.h"
#include "platform/macos/mac_desktop.h"
#include "platform/macos/mac_user_defaults.h"
#include "settings/application_bundle.h"
#include "settings/secure_store.h"
#include "tests/macos/text_on_pasteboard.h"
#include "tests/support/fixture.h"
#include "ui/short_date_time.h"

namespace kelvo::test {
namespace {

TEST(KeychainSecretStoreTest, KeepsItemsForWhoeverMayReadThem) {
  const std::string missing = TrustedApplications().at(1);
  SetMissingApplication(missing);
  KeychainSecretStore store;
  SetSecretStore(&store);
  const std::string secret("a\0\xff", 3);
  std::string read = "untouched";
  EXPECT_EQ(SecretStatus::kNotFound, store.Read("KelvoAgent", "rcid", &read));
  EXPECT_EQ("untouched", read);
  EXPECT_EQ(SecretStatus::kOk, StoreSecret("KelvoAgent", "rcid", "first"));
  EXPECT_EQ(SecretStatus::kOk, StoreSecret("KelvoAgent", "rcid", secret));
  EXPECT_EQ(SecretStatus::kOk, store.Read("KelvoAgent", "rcid", &read));
  EXPECT_EQ(secret, read);
  EXPECT_EQ(SecretStatus::kNotFound, store.Find("KelvoAgent", "other"));

  std::vector<std::string> applications = TrustedApplications();
  applications.erase(applications.begin() + 1);
  ASSERT_EQ(1u, KeychainItems().size());
  const KeychainItem item = KeychainItems().begin()->second;
  EXPECT_EQ("KelvoAgent", item.label);
  EXPECT_EQ("KelvoAgent", item.description);
  EXPECT_EQ(applications, item.applications);

  EXPECT_EQ(SecretStatus::kOk, StoreSecret("KelvoAgent", "rcid", ""));
  EXPECT_EQ(SecretStatus::kOk, store.Read("KelvoAgent", "rcid", &read));
  EXPECT_EQ("", read);
  EXPECT_EQ(SecretStatus::kOk, store.Delete("KelvoAgent", "rcid"));
  EXPECT_EQ(SecretStatus::kNotFound, store.Delete("KelvoAgent", "rcid"));
  EXPECT_EQ(0, KeychainObjects());
  SetSecretStore(nullptr);
}

TEST(KeychainSecretStoreTest, TellsARefusalFromAStoreThatIsAway) {
  const struct {
    int status;
    SecretStatus meaning;
  } kRows[] = {
      {-25308, SecretStatus::kRefused},  // it would have to ask
      {-25293, SecretStatus::kRefused},  // wrong password
      {-128, SecretStatus::kRefused},    // the user said no
      {-25300, SecretStatus::kNotFound}, {-25291, SecretStatus::kUnavailable},  // no keychain
      {-1, SecretStatus::kUnavailable},
  };
  KeychainSecretStore store;
  std::string secret;
  for (const auto& row : kRows) {
    SetKeychainStatus(row.status);
    EXPECT_EQ(row.meaning, store.Read("service", "account", &secret)) << row.status;
    EXPECT_EQ(row.meaning, store.Modify("service", "account", "")) << row.status;
    EXPECT_EQ(row.meaning, store.Create("service", "account", "", {})) << row.status;
    EXPECT_EQ(row.meaning, store.Delete("service", "account")) << row.status;
  }
  SetKeychainStatus(0);
  SetSecretStore(&store);
  {
    const SecretSilence silence;
    EXPECT_FALSE(KeychainMayAsk());
  }
  EXPECT_TRUE(KeychainMayAsk());
  SetSecretStore(nullptr);
}

TEST(MacBundleTest, IsThatOfTheClassWithTextsInTheUsersLanguages) {
  for (const char* const name : {"NSObject", "NoSuchClass"}) {
    const std::string path = BundleForClass(name)->path();
    EXPECT_TRUE(path.starts_with('/') && path.find("Resources") != std::string::npos) << path;
  }
  EXPECT_NE(BundleForClass("NSObject")->path(), BundleForClass("NoSuchClass")->path());
  EXPECT_FALSE(ChosenLanguages().empty());
  for (const std::string& language : ChosenLanguages()) {
    EXPECT_EQ(std::string::npos, language.find('-')) << language;
  }
}

TEST(AslSystemLogTest, NamesItsSenderAndTakesAnyText) {
  AslSystemLog log;
  log.Write("Kelvo Plugin", kSystemLogWarning, "100 %s of %n");
  log.Write("Other", kSystemLogDebug, "text");
  const std::vector<std::string> lines = LoggedLines();
  ASSERT_LE(2u, lines.size());
  const std::string sender = deployment::kLogSender;
  EXPECT_EQ("Kelvo Plugin|" + sender + "|4|100 %s of %n", lines[lines.size() - 2]);
  EXPECT_EQ("Other|" + sender + "|7|text", lines.back());
}

TEST(MacUserDefaultsTest, AreInForceAtOnce) {
  MacUserDefaults defaults;
  EXPECT_FALSE(defaults.GetBool("kelvo-no-such-key"));
  for (const bool value : {true, false}) {
    defaults.SetBool("kelvo-dont-show-lock", value);
    EXPECT_EQ(value, MacUserDefaults().GetBool("kelvo-dont-show-lock"));
  }
}

TEST(MacFilesTest, NamesFilesAsTheSystemDoesAndFindsTheUsersOwnHome) {
  EXPECT_EQ("/a/\xc3\xa4", FilesystemRepresentation("/a/\xc3\xa4"));
  for (const std::string& none :
       {std::string(), std::string("a\0b", 3), std::string("\xff"), std::string(5000, 'a')}) {
    EXPECT_EQ("", FilesystemRepresentation(none)) << none.substr(0, 5);
  }
  const std::string home = HomeFolder();
  ASSERT_EQ(0, setenv("HOME", "/container", 1));
  EXPECT_EQ(home, HomeFolder());
  EXPECT_TRUE(home.starts_with('/') && home != "/container") << home;
}

TEST(MacDateTest, IsShort) {
  const std::string text = ShortDateTime(1700000000);  // 14 November 2023
  EXPECT_NE(std::string::npos, text.find("14")) << text;
  EXPECT_LT(text.size(), 24u) << text;
}

TEST(MacDesktopTest, TakesNoAddressThatIsNone) {
  for (const char* const url : {"", "http://a b/", "\xff"}) {
    EXPECT_FALSE(MacDesktop().openURL(url, "")) << url;
  }
}

TEST(MacPasteboardTest, HoldsTheLastText) {
  MacPasteboard pasteboard;
  pasteboard.clearContents();
  EXPECT_EQ("", TextOnPasteboard());
  const std::string text = "https://server/filelink/1-\xc3\xa4\xf0\x9f\x98\x80";
  EXPECT_TRUE(pasteboard.writeObjects(text));
  EXPECT_EQ(text, TextOnPasteboard());
  EXPECT_FALSE(pasteboard.writeObjects("\xff"));
  EXPECT_EQ(text, TextOnPasteboard());
  pasteboard.clearContents();
  EXPECT_EQ("", TextOnPasteboard());
}

}  // namespace
}  // namespace kelvo::test
