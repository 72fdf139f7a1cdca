#include "tools/sample_agent/scenario.h"

#include <gtest/gtest.h>

#include "tools/sample_agent/list_text_writer.h"

namespace kelvo::sample_agent {
namespace {

constexpr std::int64_t kNow = 1700000000;

std::string Plist(const std::string& body) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">" + body + "</plist>";
}

TEST(ScenarioTest, ReadsEveryPart) {
  const FolderModel model("/srv/files");
  std::string error;
  const auto scenario = ReadScenario(
      Plist(
          "<dict><key>items</key><array>"
          "<dict><key>path</key><string>a/b.txt</string><key>lock</key><integer>1</integer>"
          "<key>owner</key><string>Ann</string></dict>"
          "<dict><key>path</key><string>/ext/c</string><key>status</key><integer>7</integer>"
          "<key>lock</key><integer>9</integer><key>lockTime</key><integer>0</integer>"
          "<key>denied</key><integer>2</integer><key>permissions</key><integer>0</integer>"
          "<key>modifiedBy</key><string>Bob</string><key>fileId</key><string>X</string>"
          "<key>itemId</key><integer>-4</integer></dict></array>"
          "<key>projects</key><array><dict><key>local-path</key><string>/ext</string></dict></"
          "array>"
          "<key>accounts</key><array><dict><key>agentID</key><string>7</string>"
          "<key>folders</key><array><dict><key>path</key><string>/f</string><key>total</key>"
          "<integer>9</integer><key>stored</key><integer>8</integer></dict></array></dict></array>"
          "<key>publicLinks</key><array><string>/ext/c</string></array></dict>"),
      model, kNow, &error);
  ASSERT_TRUE(scenario.has_value()) << error;
  ASSERT_EQ(scenario->items.size(), 2u);
  EXPECT_EQ(scenario->items[0].path, "/srv/files/a/b.txt");
  EXPECT_EQ(scenario->items[0].item.lockHolder, "Ann");
  EXPECT_EQ(scenario->items[0].item.lockTime, kNow);
  EXPECT_EQ(scenario->items[1].path, "/ext/c");
  EXPECT_EQ(WriteStatusList({{"c", scenario->items[1].item}}), "1:1:c1:7:0:2:3:Bob1:X-4:9:0:0:");
  EXPECT_EQ(scenario->publicLinks, std::vector<std::string>{"/ext/c"});
  ASSERT_EQ(scenario->accounts.size(), 1u);
  EXPECT_EQ(scenario->accounts[0].agentId, "7");
  EXPECT_EQ(scenario->accounts[0].folders.at(0).stored, 8);
  EXPECT_FALSE(model.Resolve("/ext/c").has_value());
}

TEST(ScenarioTest, AMistakeIsToldWithItsPlace) {
  const struct {
    const char* body;
    const char* error;
  } kRows[] = {
      {"<string>x</string>", "neither an array nor a dictionary"},
      {"<dict><key>itmes</key><array/></dict>", "unknown key \"itmes\""},
      {"<array><dict><key>path</key><string>a</string></dict><dict/></array>",
       "items 2: \"path\" is missing"},
      {"<array><dict><key>path</key><string>/srv/files2</string></dict></array>",
       "is not a path in the served folder"},
      {"<array><dict><key>path</key><string>a</string><key>lock</key><string>1</string></dict>"
       "</array>",
       "items 1: \"lock\" is not an integer"},
      {"<array><dict><key>path</key><string>a</string><key>status</key>"
       "<integer>4294967296</integer></dict></array>",
       "\"status\" is out of range"},
      {"<array><dict><key>path</key><string>a</string><key>locked</key><true/></dict></array>",
       "unknown key \"locked\""},
      {"<dict><key>projects</key><array><dict><key>a b</key><string/></dict></array></dict>",
       "projects 1: \"a b\" is not the name of an XML element"},
      {"<dict><key>projects</key><array><dict><key>a</key><array/></dict></array></dict>",
       "neither a text nor a number"},
      {"<dict><key>accounts</key><array><dict/></array></dict>",
       "accounts 1: \"agentID\" is missing"},
      {"<dict><key>accounts</key><array><dict><key>agentID</key><string>../x</string></dict></"
       "array>"
       "</dict>",
       "\"agentID\" is not as it should be"},
      {"<dict><key>accounts</key><array><dict><key>storage</key><array><array/></array></dict>"
       "</array></dict>",
       "\"storage\" is not as it should be"},
      {"<dict><key>publicLinks</key><array><integer>1</integer></array></dict>",
       "publicLinks 1: \"publicLinks\" is not a string"},
  };
  const FolderModel model("/srv/files");
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.body);
    std::string error;
    EXPECT_FALSE(ReadScenario(Plist(row.body), model, kNow, &error).has_value());
    EXPECT_NE(error.find(row.error), std::string::npos) << error;
  }
  std::string error;
  EXPECT_FALSE(ReadScenario("not a property list", model, kNow, &error).has_value());
  EXPECT_FALSE(error.empty());
  EXPECT_FALSE(ReadScenarioFile("/", model, kNow, &error).has_value());
  EXPECT_EQ(error, "cannot be read");
}

}  // namespace
}  // namespace kelvo::sample_agent
