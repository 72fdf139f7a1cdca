#include "settings/storage_settings.h"

#include <filesystem>

#include "deployment.h"
#include "settings/fingerprint_settings.h"
#include "settings/properties.h"
#include "settings/storage_folders_info.h"
#include "settings/storage_quota_info.h"
#include "settings/update_settings.h"
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
  EXPECT_TRUE(settings_.store());
  EXPECT_EQ(oldBytes, ReadFile(folder_ + "/share_info.plist"));

  kelvo_StorageSettings other(folder_);
  EXPECT_TRUE(other.load());
  EXPECT_EQ(converted, other.pathsAndFlags());
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
  EXPECT_EQ(" /b", folders_.list()[1].path());
  EXPECT_EQ(INT64_MAX, folders_.list()[1].total());
  EXPECT_EQ("/<c", folders_.list()[2].path());
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

TEST_F(StorageSettingsTest, ForeignTextsChangeNothing) {
  ASSERT_TRUE(
      folders_.loadData("<stores><s><path>/a</path><total>1</total><stored>2</stored></s>"
                        "</stores>"));
  for (const char* xml : {"<stores>", "<a><stores/></a>"}) EXPECT_FALSE(folders_.loadData(xml));
  EXPECT_EQ(1, LogCount("Cannot load storage_folders info: line 1: "));
  EXPECT_EQ(2, LogCount("Cannot load storage_folders info: "));
  EXPECT_FALSE(folders_.loadAtPath(Home("missing")));
  EXPECT_FALSE(folders_.loadAtPath(home_));
  EXPECT_EQ(1, LogCount("cannot read "));
  EXPECT_EQ(1, folders_.total());
  EXPECT_EQ(2, folders_.stored());
  EXPECT_TRUE(folders_.loadData("<stores><x/></stores>"));
  EXPECT_TRUE(folders_.list().empty());

  ASSERT_TRUE(
      quota_.loadData("<request><parameters><total-quota>5</total-quota></parameters>"
                      "</request>"));
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
}

using UpdateSettingsTest = Fixture;
using FingerprintSettingsTest = Fixture;

TEST_F(UpdateSettingsTest, TheWebServerIsWrittenForBoth) {
  const std::string path = kelvoUpdateSettings::defaultFilename();
  EXPECT_FALSE(kelvoUpdateSettings().loadSettings());
  EXPECT_TRUE(ChangePropertiesInFile(path, {{"update_server", "u.example"}, {"theirs", 1}}));
  kelvoUpdateSettings settings = kelvoUpdateSettings::settings();
  EXPECT_EQ(settings.webServerName(), deployment::kDefaultWebServer);
  EXPECT_EQ(settings.updateServerName(), "u.example");
  settings.setWebServerName("w.example");
  EXPECT_TRUE(settings.store());
  EXPECT_EQ(LoadPropertiesFromFile(path),
            (PropertyList::Dictionary{
                {"web_server", "w.example"}, {"update_server", "w.example"}, {"theirs", 1}}));
}

TEST_F(FingerprintSettingsTest, KeepTheArrayThatLastParsed) {
  kelvo_FingerprintSettings settings(Home("account_2"));
  EXPECT_TRUE(settings.load());
  settings.setFingerprintsArray({PropertyList::Dictionary{{"a", 1}}, "other"});
  EXPECT_TRUE(settings.store());
  WriteFile(Home("account_2/finger_prints.plist"), "x");
  EXPECT_TRUE(settings.load());
  EXPECT_EQ(settings.getFingerprintsArray().size(), 2u);
  kelvo_FingerprintSettings without("");
  EXPECT_FALSE(without.load() || without.store());
}

}  // namespace
}  // namespace kelvo::test
