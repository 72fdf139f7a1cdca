#include "settings/configuration_path.h"

#include <filesystem>
#include <string>

#include "base/agent_id.h"
#include "settings/property_list_xml.h"
#include "tests/support/fixture.h"

namespace kelvo {
namespace {

class ConfigurationPathTest : public test::Fixture {
 protected:
  ~ConfigurationPathTest() override { SetAgentID(""); }
  void WriteList(const PropertyList& list) { WriteFile(list_, WriteXmlPropertyList(list).value()); }

  const std::string list_ =
      Home("Library/Preferences/com.kelvo.configs/com.kelvo.vip/alternative_configs.plist");
  const std::string default_ = Home("Library/Preferences/com.kelvo.vip");
  const std::string alternatives_ = Home("Library/Preferences/com.kelvo.configs/com.kelvo.vip/");
};

PropertyList Row(bool active, const char* label) {
  return PropertyList::Dictionary{{"active_config", active}, {"label_of_config", label}};
}

TEST_F(ConfigurationPathTest, FirstActiveRowDecides) {
  const PropertyList unlabelled(PropertyList::Dictionary{{"active_config", true}});
  const struct {
    PropertyList list;
    std::string folder;
  } kRows[] = {
      {PropertyList::Array{"no row", Row(false, "Off"), Row(true, "Work"), Row(true, "Later")},
       alternatives_ + "Work"},
      {PropertyList::Array{Row(true, "Default"), Row(true, "Work")}, default_},
      {PropertyList::Array{Row(true, "default")}, alternatives_ + "default"},
      {PropertyList::Array{unlabelled, Row(true, "Work")}, default_},
      {PropertyList::Array{Row(false, "Work")}, default_},
      {PropertyList::Array{}, default_},
      {PropertyList::Dictionary{{"active_config", true}}, default_},
  };
  for (const auto& row : kRows) {
    WriteList(row.list);
    ResetConfigurationPathForTesting();
    EXPECT_EQ(GetConfigurationPath(nullptr), row.folder);
    EXPECT_EQ(GetConfigurationPath("../a"), row.folder + "/../a");
    EXPECT_EQ(PeekAtConfigurationPath("a"), row.folder + "/a");
  }
}

TEST_F(ConfigurationPathTest, MissingListIsLeftBehindEmptyAndTheFolderIsKept) {
  EXPECT_EQ(PeekAtConfigurationPath("user_info.plist"), default_ + "/user_info.plist");
  EXPECT_FALSE(std::filesystem::exists(list_));
  EXPECT_EQ(GetConfigurationPath("user_info.plist"), default_ + "/user_info.plist");
  EXPECT_EQ(std::filesystem::file_size(list_), 0u);
  WriteList(PropertyList::Array{Row(true, "Work")});
  EXPECT_EQ(GetConfigurationPath(nullptr), default_);
}

TEST_F(ConfigurationPathTest, OtherAgentsThanTheFirstHaveTheirOwnFolder) {
  WriteList(PropertyList::Array{Row(true, "Work")});
  SetAgentID("7");
  EXPECT_EQ(GetConfigurationPath("a"), alternatives_ + "Work/account_7/a");
  ResetConfigurationPathForTesting();
  SetAgentID("1");
  EXPECT_EQ(GetConfigurationPath("a"), alternatives_ + "Work/a");
}

}  // namespace
}  // namespace kelvo
