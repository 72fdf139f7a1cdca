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
      {"account_8/", "8"},
      {"/account_", ""},
      {"/account/_9", "1"},
      {"", "1"},
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
  WriteFile(Folder("/storage_quota.xml"),
            "<request><parameters><total-quota>5</total-quota></parameters></request>");
  WriteFile(Folder("/storage_folders.xml"), "<stores><s><path/><total/><stored/></s></stores>");
  WriteFile(Folder("/storage_info.plist"), "<plist><array><array/></array></plist>");

  EXPECT_EQ("New", account.agentSettings().teamName());
  EXPECT_EQ(5, account.storageQuotaInfo().quota());
  EXPECT_EQ(1U, account.storageFoldersInfo().list().size());
  EXPECT_EQ(1U, account.storageSettings().pathsAndFlags().size());
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
  AnnounceChange();
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

TEST_F(AccountListTest, AggregatesKeepTheirCrossings) {
  AccountList none(false);
  EXPECT_TRUE(none.needSetup());
  EXPECT_FALSE(none.syncEnabled() || none.backupEnabled() || none.debugTabEnabled());
  EXPECT_EQ(0, none.minMbBackupWindowTresholdSetting());
  EXPECT_EQ("KelvoAgent", none.defaultConfig().configLabel());

  const auto mb = [](const char* value) {
    return "<key>min_mb_backup_window_treshold</key><integer>" + std::string(value) + "</integer>";
  };
  Account("", mb("7") + "<key>backup_enabled</key><false/><key>two_way_sync</key><true/>");
  Account("/account_2", mb("0"));
  Account("/account_3", mb("900"));
  AccountList list(false);
  EXPECT_TRUE(list.syncEnabled());
  EXPECT_TRUE(list.backupEnabled());
  EXPECT_EQ(900, list.minMbBackupWindowTresholdSetting());  // 7, then 0, which gives way
  EXPECT_EQ(50, list.minFilesBackupWindowTresholdSetting());
  Account("", "<key>backup_enabled</key><true/>");
  EXPECT_FALSE(list.backupEnabled());
}

TEST_F(AccountListTest, ANewAccountTakesAFreeNumberAndTheFirstOnesLabel) {
  Account("", "<key>config_label</key><string>L</string><key>server</key><string>s</string>");
  Account("/account_5", "");
  AccountList& list = AccountList::defaultAccountList();
  std::vector<std::uint32_t> draws{20001, 5, 10005, 4294967295};
  list.SetRandomSource([&draws, next = 0U]() mutable { return draws[next++ % draws.size()]; });
  const auto account = list.newAccount();
  ASSERT_NE(nullptr, account);
  EXPECT_EQ(Folder("/account_7295"), account->accountFolderPath());
  EXPECT_FALSE(account->isValid());
  EXPECT_EQ("KelvoAgent", account->agentSettings().configLabel());
  EXPECT_FALSE(std::filesystem::exists(account->accountFolderPath()));
  account->createSkelet();
  EXPECT_EQ("L", account->agentSettings().configLabel());
  EXPECT_EQ("s", account->agentSettings().serverName());
  list.accountAtIndex(0).createSkelet();
  EXPECT_EQ("1 5 ", Identifiers(list));

  draws = {5};
  EXPECT_EQ(Folder("/account_0"), list.createNewAccountPath());
}

}  // namespace
}  // namespace kelvo::test
