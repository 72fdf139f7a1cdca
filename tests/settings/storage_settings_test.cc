#include "settings/storage_settings.h"

#include <filesystem>

#include "settings/properties.h"
#include "settings/storage_folders_info.h"
#include "settings/storage_quota_info.h"
#include "tests/support/fixture.h"

namespace kelvo::test {
namespace {

using Row = PropertyList::Array;

class StorageSettingsTest : public Fixture {
 protected:
  std::string folder_ = Home("account");
  kelvo_StorageSettings settings_{folder_};
  kelvo_StorageFoldersInfo folders_{folder_};
  kelvo_StorageQuotaInfo quota_{folder_};
};

TEST_F(StorageSettingsTest, FallsBackToTheOldFileAndWritesOnlyTheNewOne) {
  const PropertyList::Array old{Row{"x", "/A"}, Row{"y"}, "z", Row{"v", "/B", 7}};
  ASSERT_TRUE(StorePropertiesToFileA(folder_ + "/share_info.plist", old));
  const std::string oldBytes = ReadFile(folder_ + "/share_info.plist");
  const PropertyList::Array converted{Row{"/A", true}, Row{"/B", true}};

  EXPECT_TRUE(settings_.load());
  EXPECT_EQ(converted, settings_.pathsAndFlags());
  settings_.removeTopLevelPath("/A");
  EXPECT_TRUE(settings_.store());
  EXPECT_EQ(oldBytes, ReadFile(folder_ + "/share_info.plist"));

  kelvo_StorageSettings other(folder_);
  EXPECT_TRUE(other.load());
  EXPECT_EQ(std::vector<std::string>{"/B"}, other.topLevelPaths());
  EXPECT_TRUE(other.isEqualToAgentSettings(settings_));
}

TEST_F(StorageSettingsTest, FilesThatDoNotReadLeaveTheList) {
  settings_.setPathsAndFlags({Row{"/A", true}});
  EXPECT_FALSE(settings_.load());
  EXPECT_EQ("", ReadFile(folder_ + "/storage_info.plist"));
  EXPECT_TRUE(std::filesystem::exists(folder_ + "/share_info.plist"));
  WriteFile(folder_ + "/storage_info.plist", "<plist><dict/></plist>");
  EXPECT_FALSE(settings_.load());
  WriteFile(Home("file"), "mine");
  EXPECT_FALSE(kelvo_StorageSettings(Home("file")).load());
  EXPECT_FALSE(kelvo_StorageSettings(Home("file")).store());
  EXPECT_FALSE(kelvo_StorageSettings("").load());
  EXPECT_EQ("mine", ReadFile(Home("file")));
  EXPECT_EQ((PropertyList::Array{Row{"/A", true}}), settings_.pathsAndFlags());
}

TEST_F(StorageSettingsTest, FoldersAreListedAndAdded) {
  WriteFile(folder_ + "/storage_folders.xml",
            "<stores><s><path>/Users/a/D&#214;cs</path><total> 10</total><stored>10x</stored></s>"
            "text<t><total>1</total><stored>1</stored></t>"
            "<u><stored>-3</stored><total>99999999999999999999</total><path> /b</path></u>"
            "<v><total>2</total><stored/><path><![CDATA[/<c]]></path></v></stores>");
  EXPECT_FALSE(folders_.load());  // says nothing

  ASSERT_EQ(3U, folders_.list().size());
  EXPECT_EQ(INT64_MIN + 11, folders_.total());
  EXPECT_EQ(7, folders_.stored());
  const kelvo_StorageFolderStatus* found = folders_.findInfoForPath("/users/A/d\u00f6CS");
  ASSERT_EQ(&folders_.list()[0], found);
  EXPECT_TRUE(found->isBackedUp());
  EXPECT_TRUE(found->isEqual({"/users/A/d\u00f6CS", 10, 10}));
  EXPECT_FALSE(found->isEqual({"/users/A/d\u00f6CS/", 10, 10}));
  EXPECT_EQ(nullptr, folders_.findInfoForPath("/Users/a"));
  EXPECT_EQ(" /b", folders_.list()[1].path());
  EXPECT_EQ(INT64_MAX, folders_.list()[1].total());
  EXPECT_EQ("/<c", folders_.list()[2].path());
}

TEST_F(StorageSettingsTest, ForeignFoldersChangeNothing) {
  ASSERT_TRUE(
      folders_.loadData("<stores><s><path>/a</path><total>1</total><stored>2</stored></s>"
                        "</stores>"));
  EXPECT_FALSE(folders_.loadData("<stores>"));
  EXPECT_EQ(1, LogCount("Cannot load storage_folders info: line 1: "));
  EXPECT_FALSE(folders_.loadData("<a><stores/></a>"));
  EXPECT_EQ(2, LogCount("Cannot load storage_folders info: "));
  EXPECT_FALSE(folders_.loadAtPath(Home("missing")));
  EXPECT_FALSE(folders_.loadAtPath(home_));
  EXPECT_EQ(1, LogCount("cannot read "));
  EXPECT_EQ(1, folders_.total());
  EXPECT_EQ(2, folders_.stored());
  EXPECT_TRUE(folders_.loadData("<stores><x/></stores>"));
  EXPECT_TRUE(folders_.list().empty());
  EXPECT_EQ(0, folders_.stored());
}

TEST_F(StorageSettingsTest, ALongFolderListIsReadInOneGo) {
  constexpr int kFolders = 50'000;
  std::string text = "<stores>";
  for (int i = 0; i < kFolders; ++i) {
    text += "<f><path>/a</path><total>2</total><stored>1</stored></f>\n";
  }
  ASSERT_TRUE(folders_.loadData(text + "</stores>"));
  EXPECT_EQ(2 * kFolders, folders_.total());
  EXPECT_EQ(kFolders, folders_.stored());
}

std::string Quota(const std::string& quota, const std::string& here, const std::string& elsewhere) {
  return "<request><parameters><total-this-computer>" + here + "</total-this-computer>" +
         "<total-other-computers>" + elsewhere + "</total-other-computers>" + quota +
         "</parameters></request>";
}

TEST_F(StorageSettingsTest, QuotaIsComparedWithAllComputers) {
  const std::string kMin = std::to_string(INT64_MIN);
  const struct {
    const char* quota;
    std::string here;
    std::string elsewhere;
    bool in;
  } kCases[] = {
      {"<total-quota>100</total-quota>", "60", "40", true},
      {"<total-quota>100</total-quota>", "60", "41", false},
      {"<total-quota>-1</total-quota>", "60", "40", true},
      {"", "0", "0", true},
      {"", "1", "0", false},
      // Wraps around.
      {"<total-quota>9223372036854775807</total-quota>", "-1", "0", false},
      {"<total-quota>0</total-quota>", kMin, kMin, true},
  };
  for (const auto& c : kCases) {
    const std::string xml = Quota(c.quota, c.here, c.elsewhere);
    WriteFile(folder_ + "/storage_quota.xml", xml);
    ASSERT_TRUE(quota_.loadAtPath("elsewhere")) << xml;
    EXPECT_EQ(c.in, quota_.inQuota()) << xml;
  }
}

TEST_F(StorageSettingsTest, ForeignQuotasChangeNothing) {
  ASSERT_TRUE(
      quota_.loadData("<request><parameters><total-quota>5</total-quota>"
                      "<stored-this-computer>3</stored-this-computer>"
                      "<stored-other-computers>4</stored-other-computers>"
                      "</parameters></request>"));
  for (const char* xml : {"<request/>", "<parameters/>", "<a><request><parameters/></request></a>",
                          "<request><a><parameters/></a></request>"}) {
    EXPECT_FALSE(quota_.loadData(xml)) << xml;
  }
  EXPECT_EQ(4, LogCount("Cannot load storage_quota info: parameters not recognized"));
  EXPECT_FALSE(quota_.loadData("request"));
  EXPECT_EQ(5, LogCount("Cannot load storage_quota info: "));
  EXPECT_FALSE(quota_.load());
  EXPECT_FALSE(kelvo_StorageQuotaInfo("").load());
  EXPECT_EQ(5, quota_.quota());
  EXPECT_EQ(3, quota_.storedThisComputer());
  EXPECT_EQ(4, quota_.storedOtherComputers());
}

}  // namespace
}  // namespace kelvo::test
