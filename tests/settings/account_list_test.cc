#include "settings/account_list.h"

#include <filesystem>

#include "base/notification_center.h"
#include "tests/support/fixture.h"

namespace kelvo::test {
namespace {

class AccountListTest : public Fixture {
 protected:
  std::string Folder(const std::string& name = "") const {
    return Home("Library/Preferences/com.kelvo.vip" + name);
  }
  // Writes an account's main record.
  void Account(const std::string& name, const std::string& keys) {
    WriteFile(Folder(name) + "/user_info.plist", "<plist><dict>" + keys + "</dict></plist>");
  }
  static std::string Identifiers(AccountList& list) {
    std::string all;
    for (std::size_t i = 0; i < list.count(); ++i) all += list.accountAtIndex(i).agentID() + " ";
    return all;
  }
  static void AnnounceChange() {
    NotificationCenter::LocalCenter().Post("com.kelvo.client.SettingsChanged", "com.kelvo.vip", {});
  }
};

TEST_F(AccountListTest, IdentifierComesFromTheFirstAccountComponent) {
  const struct {
    const char* path;
    const char* identifier;
  } kCases[] = {
      {"/u/com.kelvo.vip/account_7/storage_info.plist", "7"},
      {"/u/com.kelvo.vip/user_info.plist", "1"},
      {"/u/xaccount_5", "_5"},
      {"/u/\u00e9\u00e9account_5/account_6", "t_5"},
      {"/account/_9", "1"},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(c.identifier, AccountList::extractAgentID(c.path)) << c.path;
  }
}

TEST_F(AccountListTest, FindsTheAccountFoldersInOrderOfText) {
  EXPECT_EQ("", Identifiers(*std::make_unique<AccountList>(false)));
  EXPECT_FALSE(std::filesystem::exists(Folder()));

  Account("", "");
  Account("/account_2", "<key>user_id</key><string>u2</string>");
  Account("/account_10",
          "<key>user_id</key><string>u10</string>"
          "<key>team_name</key><string>T</string>");
  Account("/other/account_4", "");
  WriteFile(Folder("/account_3"), "no folder");
  AccountList list(false);
  EXPECT_EQ("1 10 2 ", Identifiers(list));
  EXPECT_EQ(&list.accountAtIndex(2), list.accountForUserID("u2"));
  EXPECT_EQ(nullptr, list.accountForUserID(""));
  EXPECT_EQ(&list.accountAtIndex(1), list.accountForPath(Folder("/account_10/x/y")));
  EXPECT_EQ(&list.accountAtIndex(0), list.accountForPath("/somewhere"));
  EXPECT_EQ("T", list.teamForAgentID("10"));
  EXPECT_EQ(std::nullopt, list.teamForAgentID("2"));
  EXPECT_EQ(std::nullopt, list.teamForAgentID("5"));
  EXPECT_EQ("no folder", ReadFile(Folder("/account_3")));
}

TEST_F(AccountListTest, AFolderThatIsAFileIsLeftAlone) {
  WriteFile(Folder(), "mine");
  AccountList list(false);
  EXPECT_EQ("1 ", Identifiers(list));
  EXPECT_EQ("KelvoAgent", list.defaultConfig().configLabel());
  EXPECT_EQ(1, LogCount("no account folder"));
  EXPECT_EQ(1, LogCount("cannot list the accounts"));
  EXPECT_EQ("mine", ReadFile(Folder()));
}

TEST_F(AccountListTest, AccessorsReadAgainButForTheFingerprints) {
  Account("", "");
  AccountList list(false);
  kelvo::Account& account = list.accountAtIndex(0);
  EXPECT_TRUE(account.isValid());
  Account("", "<key>team_name</key><string>New</string>");
  WriteFile(Folder("/finger_prints.plist"), "<plist><array><string>f</string></array></plist>");
  EXPECT_EQ("New", account.agentSettings().teamName());
  EXPECT_TRUE(account.fingerprintSettings().getFingerprintsArray().empty());
  account.loadSettings();
  EXPECT_EQ(1U, account.fingerprintSettings().getFingerprintsArray().size());
}

TEST_F(AccountListTest, OnlyADefaultListThatWantsSecretsReadsThem) {
  fake_.secrets.items[{"KelvoAgent", "r"}] = "secret";
  Account("", "<key>rcid</key><string>r</string>");
  AccountList without(false);
  EXPECT_TRUE(fake_.secrets.calls.empty());
  EXPECT_TRUE(without.needSetup());
  AccountList& list = AccountList::defaultAccountList();
  EXPECT_EQ(1U, fake_.secrets.calls.size());
  EXPECT_EQ(&list, &AccountList::defaultAccountListWithPassword(false));
  EXPECT_TRUE(list.loadPassword());
  EXPECT_FALSE(list.needSetup());
}

TEST_F(AccountListTest, ChangedSettingsAreReadOnTheQueue) {
  Account("", "");
  fake_.settingsQueue.Hold(true);
  AccountList::SetSettingsQueue(&fake_.settingsQueue);
  AccountList& list = AccountList::defaultAccountListWithPassword(false);
  EXPECT_EQ(0U, list.count());
  fake_.settingsQueue.RunAll();
  EXPECT_EQ("1 ", Identifiers(list));

  Account("/account_0", "");
  for (int i = 0; i < 100; ++i) AnnounceChange();
  EXPECT_EQ(1U, fake_.settingsQueue.Waiting());
  EXPECT_EQ(1U, list.count());
  fake_.settingsQueue.RunAll();
  EXPECT_EQ("0 1 ", Identifiers(list));

  AnnounceChange();
  AccountList::ResetForTesting();
  fake_.settingsQueue.RunAll();  // the list is gone
  AnnounceChange();
}

TEST_F(AccountListTest, ANotificationAddsReadsAndDropsAccounts) {
  Account("", "");
  AccountList list(false);
  kelvo::Account* first = list.accountForAgentID("1");
  const auto announce = [&list](const char* id) { list.notifyAgentSettings(1, id); };

  announce("5");
  EXPECT_EQ("1 ", Identifiers(list));
  EXPECT_FALSE(std::filesystem::exists(Folder("/account_5")));
  Account("/account_5", "");
  announce("5");
  announce("1");
  EXPECT_EQ("1 5 ", Identifiers(list));
  EXPECT_EQ(first, list.accountForAgentID("1"));

  // The Agent has removed it: reading it again must not bring its folder back.
  std::filesystem::remove_all(Folder("/account_5"));
  announce("5");
  EXPECT_TRUE(list.accountAtIndex(1).needSetup());
  EXPECT_FALSE(std::filesystem::exists(Folder("/account_5")));
  list.processPath(Folder("/account_5"));
  EXPECT_EQ("1 ", Identifiers(list));

  Account("/../account_x", "");
  std::filesystem::create_directory(Folder("/account_"));
  announce("/../../account_x");
  announce("/../account_x\n");
  EXPECT_EQ(2, LogCount("ignored"));
  EXPECT_EQ("1 ", Identifiers(list));

  std::filesystem::remove_all(Folder());
  announce(nullptr);
  EXPECT_EQ("", Identifiers(list));
}

}  // namespace
}  // namespace kelvo::test
