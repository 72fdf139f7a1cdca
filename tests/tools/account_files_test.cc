#include "tools/sample_agent/account_files.h"

#include <filesystem>

#include "settings/property_list_xml.h"
#include "tests/support/fixture.h"

namespace kelvo::sample_agent {
namespace {

class AccountFilesTest : public test::Fixture {
 protected:
  std::string Path(const std::string& name) {
    return Home("Library/Preferences/com.kelvo.vip/" + name);
  }
  PropertyList Read(const std::string& name) {
    return ReadPropertyList(ReadFile(Path(name)), nullptr).value_or(PropertyList());
  }
};

TEST_F(AccountFilesTest, SettingsThatAreThereSurvive) {
  WriteFile(AccountFilePath(),
            "<plist version=\"1.0\"><dict><key>user</key><string>ann</string>"
            "<key>show_green_checkmarks</key><false/><key>master_project_folder</key>"
            "<string>/old</string><key>config_label</key><string>Mine</string></dict></plist>");
  const auto account = WriteAccountFile("/new");
  ASSERT_TRUE(account.has_value());
  EXPECT_EQ(account->fullName, "ann");
  const PropertyList list = Read("user_info.plist");
  const PropertyList::Dictionary& settings = *list.AsDictionary();
  EXPECT_EQ(*FindValue(settings, "master_project_folder"), PropertyList("/new"));
  EXPECT_EQ(*FindValue(settings, "config_label"), PropertyList("Mine"));
  EXPECT_EQ(*FindValue(settings, "show_green_checkmarks"), PropertyList(false));
  EXPECT_EQ(*FindValue(settings, "sync_file_locking"), PropertyList(true));
  EXPECT_EQ(FindValue(settings, "full_name"), nullptr);
}

TEST_F(AccountFilesTest, ReadingLeavesNoFileBehind) {
  EXPECT_EQ(ReadAccountFile().fullName, "Sample User");
  EXPECT_FALSE(std::filesystem::exists(AccountFilePath()));
}

TEST_F(AccountFilesTest, AccountsAreMergedIntoTheirFilesAndNothingIsLost) {
  using Array = PropertyList::Array;
  const PropertyList mine(Array{"/mine", true});
  WriteFile(Path("account_7/storage_info.plist"),
            "<plist version=\"1.0\"><array><array><string>/mine</string><true/></array></array>"
            "</plist>");
  WriteFile(Path("account_7/storage_folders.xml"),
            "<stores><old><path>/a&amp;b</path><total>1</total><stored>0</stored></old>"
            "<old><path>/c</path><total>1</total><stored>1</stored></old></stores>");
  AccountData account{.agentId = "7",
                      .settings = {{"team_name", "Seven"}},
                      .storage = {mine, Array{"/new", false}},
                      .folders = {{"/a&b", 9, 8}, {"/<d>", 2, 1}},
                      .quota = {{"total-quota", -1}},
                      .filter = {{"all", false}},
                      .fingerprints = {PropertyList::Dictionary{{"f", "1"}}},
                      .servers = {{"web_server", "w.example"}}};
  ASSERT_TRUE(WriteAccountFiles({account, account}));  // twice makes no difference
  EXPECT_EQ(Read("account_7/user_info.plist"), PropertyList(account.settings));
  EXPECT_EQ(Read("account_7/storage_info.plist"), PropertyList(account.storage));
  EXPECT_EQ(Read("account_7/filter_info.plist"), PropertyList(account.filter));
  EXPECT_EQ(Read("account_7/finger_prints.plist"), PropertyList(account.fingerprints));
  EXPECT_EQ(Read("server_info.plist"), PropertyList(account.servers));
  EXPECT_EQ(ReadFile(Path("account_7/storage_folders.xml")),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<stores><old><path>/a&amp;b</path><total>9</total><stored>8</stored></old>"
            "<old><path>/c</path><total>1</total><stored>1</stored></old>"
            "<store><path>/&lt;d&gt;</path><total>2</total><stored>1</stored></store></stores>\n");
  EXPECT_NE(ReadFile(Path("account_7/storage_quota.xml"))
                .find("<parameters><total-quota>-1</total-quota></parameters>"),
            std::string::npos);

  for (const char* name : {"storage_info.plist", "storage_folders.xml", "storage_quota.xml"}) {
    WriteFile(Path(std::string("account_7/") + name), "precious");
    EXPECT_FALSE(WriteAccountFiles({account}));
    EXPECT_EQ(ReadFile(Path(std::string("account_7/") + name)), "precious");
    std::filesystem::remove(Path(std::string("account_7/") + name));
  }
}

}  // namespace
}  // namespace kelvo::sample_agent
