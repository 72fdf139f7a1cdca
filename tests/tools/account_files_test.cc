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

TEST_F(AccountFilesTest, WhatDoesNotParseIsNotWrittenOver) {
  AccountData account;
  account.agentId = "7";
  account.storage.push_back(PropertyList::Array{"/new", false});
  account.folders = {{"/a&b", 9, 8}};
  account.quota = {{"total-quota", -1}};
  for (const char* name : {"storage_info.plist", "storage_folders.xml", "storage_quota.xml"}) {
    const std::string file = Path(std::string("account_7/") + name);
    WriteFile(file, "precious");
    EXPECT_FALSE(WriteAccountFiles({account}));
    EXPECT_EQ(ReadFile(file), "precious");
    std::filesystem::remove(file);
  }
}

}  // namespace
}  // namespace kelvo::sample_agent
