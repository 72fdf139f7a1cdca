#include "settings/agent_settings.h"

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "settings/application_bundle.h"
#include "settings/host_names.h"
#include "settings/properties.h"
#include "tests/support/fixture.h"

namespace kelvo {
namespace {

using Calls = std::vector<std::string>;
using Items = std::map<test::FakeSecretStore::Key, std::string>;

class AgentSettingsTest : public test::Fixture {
 protected:
  // The record of a file with these keys; no secret is looked for.
  kelvoAgentSettings Record(const PropertyList::Dictionary& keys) {
    EXPECT_TRUE(StorePropertiesToFile(path_, keys));
    kelvoAgentSettings record(folder_);
    EXPECT_TRUE(record.loadSettingsWithoutPassword());
    return record;
  }

  const std::string folder_ = Home("Library/Preferences/com.kelvo.vip");
  const std::string path_ = folder_ + "/user_info.plist";
  Items& items_ = fake_.secrets.items;
  Calls& calls_ = fake_.secrets.calls;
};

TEST_F(AgentSettingsTest, AnEmptyFileLeavesTheDefaults) {
  WriteFile(path_, "");
  kelvoAgentSettings record(folder_);
  EXPECT_FALSE(record.loadSettingsWithoutPassword());
  EXPECT_TRUE(record.load());
  EXPECT_EQ(record.desktopName(), ComputerName());
  EXPECT_EQ(record.userName() + record.fullName() + record.email(),
            LoginUserName() + LoginUserName() + LoginUserName());
  EXPECT_EQ(record.cellName(), std::nullopt);

  // Kind and default of all other settings, and their keys.
  const std::map<std::string, std::string> kExpected = {
      {"text sync.kelvo.example", "server"},
      {"text null", "cell_id user_id team_name convert_targets badge_handled_file_extension"},
      {"text KelvoAgent", "config_label"},
      {"text ", "rcid"},
      {"boolean false",
       "debug_tab_enabled two_way_sync external_sync notifications_when_mirroring "
       "public_upload public_password public_expiration limited_connection_account "
       "secure_delete"},
      {"boolean true",
       "show_green_checkmarks auto_upgrade premium_service ask_for_password "
       "remote_access allow_remote_access network_drive_share external_drive_share "
       "readonly_drive_share selective_sync project_loader smart_locking smart_badge "
       "backup_enabled calculate_synced"},
      {"32-bit integer 3", "trace_level"},
      {"32-bit integer 1000", "max_allowed_download_speed max_allowed_upload_speed"},
      {"64-bit integer 100", "min_mb_backup_window_treshold"},
      {"64-bit integer 50", "min_files_backup_window_treshold"},
      {"32-bit integer -1", "sync_project_accept_mode"},
      {"64-bit integer 1", "limited_connection_project_count"},
      {"64-bit integer 1000", "limited_connection_file_count"},
      {"64-bit integer 2147483648", "limited_connection_file_size"},
      {"32-bit integer 0", "badge_introduction"},
  };
  const std::set<std::string> kOfThisComputer = {"desktop_name", "user", "full_name", "email",
                                                 "master_project_folder"};
  std::map<std::string, std::string> found;
  for (const SettingLine& line : record.describe()) {
    EXPECT_EQ(line.value, line.defaultValue) << line.key;
    if (kOfThisComputer.contains(line.key)) continue;
    std::string& keys =
        found[SettingKindName(line.kind) + (" " + line.defaultValue.value_or("null"))];
    keys += (keys.empty() ? "" : " ") + line.key;
  }
  EXPECT_EQ(found, kExpected);
}

TEST_F(AgentSettingsTest, AnyKindUnderAnyKeyIsReadOrCountsAsAbsent) {
  const std::vector<SettingLine> known = kelvoAgentSettings().describe();
  EXPECT_EQ(known.size(), 47u);
  const PropertyList kUnusable[] = {PropertyList::Array{"a"}, PropertyList::Dictionary{{"a", "b"}},
                                    PropertyList::Data{"\x01"}, PropertyList::Date{1}};
  for (const PropertyList& value : kUnusable) {
    PropertyList::Dictionary keys;
    for (const SettingLine& line : known) keys.emplace(line.key, value);
    for (const SettingLine& line : Record(keys).describe()) {
      EXPECT_TRUE(line.isStored) << line.key;
      EXPECT_EQ(line.value, line.defaultValue) << line.key;
    }
  }
  const std::int64_t kBeyond32Bits = std::int64_t{1} << 40;
  PropertyList::Dictionary keys;
  for (const SettingLine& line : known) keys.emplace(line.key, kBeyond32Bits);
  const std::map<SettingKind, std::string> kExpected = {{SettingKind::kText, "1099511627776"},
                                                        {SettingKind::kBoolean, "true"},
                                                        {SettingKind::kInteger32, "2147483647"},
                                                        {SettingKind::kInteger64, "1099511627776"}};
  for (const SettingLine& line : Record(keys).describe()) {
    // Its bytes have no place in 64 bits.
    if (line.key == "limited_connection_file_size") continue;
    EXPECT_EQ(line.value, kExpected.at(line.kind)) << line.key;
  }
}

TEST_F(AgentSettingsTest, TheListHoldsNoSecretAndDefaultsOfThisRecord) {
  items_ = {{{"L", "R"}, "the key"}};
  (void)Record({{"config_label", "L"}, {"rcid", "R"}, {"user", "U"}, {"auth", "foreign"}});
  kelvoAgentSettings record(folder_);
  EXPECT_TRUE(record.load());
  EXPECT_EQ(record.authenticationKey(), "the key");
  for (const SettingLine& line : record.describe()) {
    EXPECT_NE(line.value, "the key") << line.key;
    EXPECT_NE(line.key, "auth");
    if (line.key == "email") {
      EXPECT_EQ(line.defaultValue, "U");
    }
  }
}

TEST_F(AgentSettingsTest, OddAccessors) {
  kelvoAgentSettings record;
  record.setDesktopName(ComputerName());
  EXPECT_EQ(record.getStringProperty("desktop_name"), std::nullopt);
  record.setDesktopName("desk");
  record.setDesktopName("");
  EXPECT_EQ(record.desktopName(), ComputerName());

  record.setLimitedConnectionFileSize(3);
  EXPECT_EQ(record.limitedConnectionFileSize(), 3221225472);
  EXPECT_EQ(record.getStringProperty("limited_connection_file_size"), "3");

  for (const std::vector<std::string>& list :
       {std::vector<std::string>{"a", "", "b"}, {"a"}, {""}}) {
    record.setBadgeHandledFileExtensions(list);
    EXPECT_EQ(record.badgeHandledFileExtensions(), list);
  }

  record.setUserId("7");
  record.setUserId("\xFF");
  EXPECT_EQ(record.userId(), "7");
  EXPECT_EQ(LogCount("user_id is not text"), 1);
  record.setUserId(std::nullopt);
  EXPECT_FALSE(record.settings().contains("user_id"));
}

TEST_F(AgentSettingsTest, CellsOneToElevenHaveNames) {
  const std::map<std::string, std::string> kNames = {
      {"4", "EU4"}, {"11", "EU11"}, {"12", "12"},
      {"0", "0"},   {"-1", "-1"},   {"abc", "abc"},
      {"", ""},     {" 9 ", "US9"}, {"99999999999", "99999999999"}};
  kelvoAgentSettings record;
  for (const auto& [id, name] : kNames) {
    record.setCellId(id);
    EXPECT_EQ(record.cellName(), name);
  }
}

TEST_F(AgentSettingsTest, StoringKeepsForeignKeysAndReadsThem) {
  kelvoAgentSettings record = Record({{"foreign", PropertyList::Array{1}}, {"rcid", "R"}});
  EXPECT_TRUE(StorePropertiesToFile(path_, {{"later", "x"}, {"trace_level", 1}}));
  record.setSmartBadgeEnabled(false);
  EXPECT_TRUE(record.store());
  EXPECT_EQ(record.settings(), (PropertyList::Dictionary{{"foreign", PropertyList::Array{1}},
                                                         {"rcid", "R"},
                                                         {"later", "x"},
                                                         {"trace_level", 1},
                                                         {"smart_badge", false}}));
  kelvoAgentSettings other(folder_);
  EXPECT_TRUE(other.loadSettingsWithoutPassword());
  EXPECT_TRUE(other.isEqualToAgentSettings(record));
}

TEST_F(AgentSettingsTest, AFileThatCannotBeWrittenFailsTheStoreButNotTheSecret) {
  kelvoAgentSettings record = Record({{"rcid", "R"}});
  record.setAuthenticationKey("key");
  WriteFile(Home("file"), "");
  EXPECT_FALSE(record.storeToSpecificPath(Home("file/user_info.plist")));
  EXPECT_EQ(items_, (Items{{{"KelvoAgent", "R"}, "key"}}));
}

TEST_F(AgentSettingsTest, NeedsSetupUntilFileAndRcidAndKeyAreThere) {
  kelvoAgentSettings record("");
  EXPECT_FALSE(record.load() || record.loadSettingsWithoutPassword() || record.store());
  record = kelvoAgentSettings(folder_);
  record.setRcid("R");
  record.setAuthenticationKey("key");
  EXPECT_TRUE(record.needSetup());
  EXPECT_TRUE(record.store());
  EXPECT_FALSE(record.needSetup());

  items_.clear();
  kelvoAgentSettings withoutKey(folder_);
  EXPECT_TRUE(withoutKey.load());
  EXPECT_EQ(withoutKey.rcid(), "R");
  EXPECT_TRUE(withoutKey.needSetup());
}

TEST_F(AgentSettingsTest, ThePreferencePaneReadsNoSecret) {
  SetApplicationBundle(std::make_shared<const Bundle>(
      "/Library/PreferencePanes/kelvoPreferencePane.prefPane", std::vector<std::string>{}));
  kelvoAgentSettings record = Record({{"rcid", "R"}});
  EXPECT_TRUE(record.load());
  EXPECT_EQ(calls_, Calls{});
}

TEST_F(AgentSettingsTest, AnOldPasswordIsRetiredByTheNextStore) {
  items_ = {{{"KelvoAgent", "U"}, "pass\nrest"}, {{"KelvoAgent-secureWebAccess", "U"}, "web"}};
  kelvoAgentSettings record = Record({{"user", "U"}});
  EXPECT_TRUE(record.loadOnlyPassword());
  EXPECT_EQ(record.password(), "pass");
  record.setTeamName("team");
  EXPECT_FALSE(record.store());
  EXPECT_EQ(items_, Items{});
  EXPECT_EQ(record.password(), "");
  EXPECT_EQ(GetStringProperty(*LoadPropertiesFromFile(path_), "team_name"), "team");
}

struct SecretFlow {
  enum { kLook, kLoad, kStore } operation;
  SecretStatus failure;
  SecretStatus silentFailure;
  bool answer;
  std::string key;  // in memory, "held" before
  Calls calls;      // of the key's and the web access's items of account R
  Items items;      // where both were "stored" before
};

std::vector<SecretFlow> SecretFlows() {
  using enum SecretStatus;
  const test::FakeSecretStore::Key web = {"KelvoAgent-secureWebAccess", "R"};
  const test::FakeSecretStore::Key key = {"KelvoAgent", "R"};
  const Items before = {{key, "stored"}, {web, "stored"}};
  const std::string read = "read KelvoAgent R";
  const std::string modify = "modify KelvoAgent R";
  const Calls rewrite = {"delete KelvoAgent R", "delete KelvoAgent-secureWebAccess R",
                         "create KelvoAgent R"};
  const auto then = [](Calls first, const Calls& later) {
    first.insert(first.end(), later.begin(), later.end());
    return first;
  };
  return {
      {SecretFlow::kLoad, kOk, kOk, true, "stored", {read}, before},
      {SecretFlow::kLook, kOk, kRefused, true, "stored", {read, read}, before},
      {SecretFlow::kLoad,
       kOk,
       kRefused,
       true,
       "stored",
       then({read, read}, rewrite),
       {{key, "stored"}}},
      {SecretFlow::kLoad, kRefused, kOk, false, "held", {read, read}, before},
      {SecretFlow::kLoad, kUnavailable, kOk, false, "held", {read}, before},
      {SecretFlow::kLoad, kOk, kUnavailable, false, "held", {read}, before},
      {SecretFlow::kLoad, kNotFound, kOk, false, "held", {read}, before},
      {SecretFlow::kStore, kOk, kOk, true, "held", {modify}, {{key, "held"}, {web, "stored"}}},
      {SecretFlow::kStore, kOk, kRefused, true, "held", then({modify}, rewrite), {{key, "held"}}},
      {SecretFlow::kStore, kRefused, kOk, false, "held", {rewrite[0], rewrite[1]}, before},
      {SecretFlow::kStore, kUnavailable, kOk, false, "held", {}, before},
      {SecretFlow::kStore, kOk, kUnavailable, false, "held", {modify}, before},
  };
}

TEST_F(AgentSettingsTest, OnlyARefusalLeadsToAnotherAttemptAndToRewriting) {
  kelvoAgentSettings record = Record({{"rcid", "R"}});
  EXPECT_TRUE(record.storeAccountData()) << "without a key there is nothing to store";
  int number = 0;
  for (const SecretFlow& flow : SecretFlows()) {
    SCOPED_TRACE(++number);
    items_ = {{{"KelvoAgent", "R"}, "stored"}, {{"KelvoAgent-secureWebAccess", "R"}, "stored"}};
    calls_.clear();
    fake_.secrets.failure = flow.failure;
    fake_.secrets.silentFailure = flow.silentFailure;
    record.setAuthenticationKey("held");
    const bool answer =
        flow.operation == SecretFlow::kStore
            ? record.storeAccountData()
            : record.readAccountDataWithOverwrite(flow.operation == SecretFlow::kLoad);
    EXPECT_EQ(answer, flow.answer);
    EXPECT_EQ(record.authenticationKey(), flow.key);
    EXPECT_EQ(calls_, flow.calls);
    EXPECT_EQ(items_, flow.items);
    EXPECT_TRUE(fake_.secrets.interactionAllowed);
  }
}

TEST_F(AgentSettingsTest, ASecretThatIsNotTextIsNotWrittenAnew) {
  items_ = {{{"KelvoAgent", "R"}, "\xFF"}};
  fake_.secrets.silentFailure = SecretStatus::kRefused;
  kelvoAgentSettings record = Record({{"rcid", "R"}});
  EXPECT_TRUE(record.load());
  EXPECT_EQ(record.authenticationKey(), "");
  EXPECT_EQ(items_.size(), 1u);
}

TEST_F(AgentSettingsTest, CleaningUpTakesTheItemsOfUserAndRcid) {
  items_ = {{{"L", "U"}, ""},
            {{"L-secureWebAccess", "U"}, ""},
            {{"L", "R"}, ""},
            {{"L-secureWebAccess", "R"}, ""},
            {{"L", "other"}, ""}};
  kelvoAgentSettings record = Record({{"config_label", "L"}, {"user", "U"}});
  record.cleanupKeychain();
  EXPECT_EQ(items_.size(), 3u);
  record.setRcid("R");
  record.cleanupKeychain();
  EXPECT_EQ(items_, (Items{{{"L", "other"}, ""}}));
}

TEST_F(AgentSettingsTest, MasterProjectFolderOfLabelAndTeamAndAgent) {
  WriteFile(path_, "");
  std::filesystem::create_directory(folder_ + "/account_7");
  struct {
    const char* label;
    const char* account;
    const char* folder;
  } const kCases[] = {
      {"KelvoAgent", "", "Kelvo Workplace"},
      {"KelvoAgent", "/account_7", "Kelvo Workplace (T)"},
      {"Kelvo Agent", "/", "Kelvo Workplace (Kelvo Agent)"},
      {"L", "/account_7", "Kelvo Workplace (L-T)"},
      {"L", "/account_8", "Kelvo Workplace (L-T)"},  // in no list
  };
  for (const auto& row : kCases) {
    kelvoAgentSettings record(folder_ + row.account);
    record.setConfigLabel(row.label);
    record.setTeamName("T");
    EXPECT_EQ(record.masterProjectFolder(), Home(row.folder));
    record.setMasterProjectFolder("");
    EXPECT_EQ(record.masterProjectFolder(), Home(row.folder));
  }
}

TEST_F(AgentSettingsTest, AnOldMasterProjectFolderServesWhileTheNewOneIsNotThere) {
  kelvoAgentSettings record = Record({{"master_project_folder", Home("new")}});
  EXPECT_EQ(record.masterProjectFolder(), Home("new"));
  std::filesystem::create_directory(Home("Kelvo Projects"));
  std::filesystem::create_directory(Home("Kelvo Projects (KelvoAgent)"));
  EXPECT_EQ(record.masterProjectFolder(), Home("Kelvo Projects (KelvoAgent)"));
  record.setConfigLabel("Kelvo Agent");
  EXPECT_EQ(record.masterProjectFolder(), Home("Kelvo Projects"));
  WriteFile(Home("new"), "");
  EXPECT_EQ(record.masterProjectFolder(), Home("new"));

  record.setMasterProjectFolder(std::string("/a\0b", 4));
  record.setMasterProjectFolder("/\xFF");
  EXPECT_EQ(record.masterProjectFolder(), Home("new"));
}

}  // namespace
}  // namespace kelvo
