#include "settings/agent_settings.h"

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
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

  std::map<std::string, std::optional<std::string>> defaults;
  for (const SettingLine& line : record.describe()) {
    EXPECT_EQ(line.value, line.defaultValue) << line.key;
    defaults[line.key] = line.defaultValue;
  }
  EXPECT_EQ(defaults["server"], "sync.kelvo.example");
  EXPECT_EQ(defaults["team_name"], std::nullopt);
  EXPECT_EQ(defaults["smart_badge"], "true");
  EXPECT_EQ(defaults["trace_level"], "3");
  EXPECT_EQ(defaults["limited_connection_file_size"], "2147483648");
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
  EXPECT_FALSE(kelvoAgentSettings("").load());
  (void)Record({{"rcid", "R"}});
  kelvoAgentSettings record(folder_);
  EXPECT_TRUE(record.load());
  EXPECT_EQ(record.rcid(), "R");
  EXPECT_TRUE(record.needSetup());
  items_ = {{{"KelvoAgent", "R"}, "key"}};
  EXPECT_TRUE(record.load());
  EXPECT_FALSE(record.needSetup());
}

TEST_F(AgentSettingsTest, ThePreferencePaneReadsNoSecret) {
  SetApplicationBundle(std::make_shared<const Bundle>(
      "/Library/PreferencePanes/kelvoPreferencePane.prefPane", std::vector<std::string>{}));
  kelvoAgentSettings record = Record({{"rcid", "R"}});
  EXPECT_TRUE(record.load());
  EXPECT_EQ(calls_, Calls{});
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
