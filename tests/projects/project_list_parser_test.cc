#include "projects/project_list_parser.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

#include "projects/projects_file.h"
#include "tests/support/fixture.h"

namespace kelvo::test {
namespace {

constexpr auto kMost = std::numeric_limits<std::int64_t>::max();

std::string Row(const std::string& fields) { return "<project>" + fields + "</project>"; }
std::string List(const std::string& rows) { return "<project-list>" + rows + "</project-list>"; }

std::string Names(const std::vector<Project>& projects) {
  std::string names;
  for (const Project& project : projects) names += project.name() + ";";
  return names;
}

TEST(ProjectListParserTest, RowsBecomeDictionariesWithStatusAndOwner) {
  const struct {
    const char* fields;
    const char* key;
    const char* value;
  } kCases[] = {
      {"<name>R%26;D %D83D;%DE00;</name>", "name", "R&D \xF0\x9F\x98\x80"},
      {"<x><y>a</y><![CDATA[<b>]]></x>", "x", "a<b>"},
      {"<x>1</x><x>2</x>", "x", "2"},
      {"<subscribed>1</subscribed><synced-files>3</synced-files><synced-size>1500</synced-size>"
       "<total-files>9</total-files>",
       "status", "3 files, 1.5 KB"},
      {"<subscribed>no</subscribed><synced-files>3</synced-files><total-files>9</total-files>",
       "status", "9 files, 0 B"},
      {"<outOfQuota>true</outOfQuota><partial>1</partial><total-files> 99999999999999999999"
       "</total-files><total-size>-1</total-size>",
       "status", "Out of Storage, 9223372036854775807 files, --- (Selective Sync)"},
      {"<status>own</status>", "status", "0 files, 0 B"},
      {"<owner>ann@x.example</owner>", "owner", "Me"},
      {"<owner>Ann@x.example</owner>", "owner", "Ann@x.example"},
      {"<local-path>../w/./P//</local-path>", "local-path", "../w/./P//"},
  };
  for (const auto& test : kCases) {
    const auto list = ParseProjectList(List(Row(test.fields)), {"Ann", "ann@x.example"});
    ASSERT_TRUE(list) << test.fields;
    const auto& kind = list->synced.empty() ? list->notSubscribed : list->synced;
    ASSERT_EQ(kind.size(), 1u) << test.fields;
    EXPECT_EQ(kind[0].objectForKey(test.key), PropertyList(test.value)) << test.fields;
  }
}

TEST(ProjectListParserTest, TextsWithoutProjectsAreNoListOrAnEmptyOne) {
  const struct {
    const char* text;
    bool parses;
  } kCases[] = {
      {"", false},
      {"<project-list><project>", false},
      {"<project-list/>", true},
      {"<other><project-list><project/></project-list></other>", true},
      {"<project-list>text<other><project/></other><!-- c --></project-list>", true},
  };
  for (const auto& test : kCases) {
    const auto list = ParseProjectList(test.text, {});
    ASSERT_EQ(list.has_value(), test.parses) << test.text;
    if (!list) continue;
    EXPECT_TRUE(list->synced.empty() && list->external.empty() && list->notSubscribed.empty());
    EXPECT_FALSE(list->subscribedTotals || list->notSubscribedTotals) << test.text;
  }
}

TEST(ProjectListParserTest, KindsAreToldApartAndTotalledWithinTheirRange) {
  const std::string most = std::to_string(kMost);
  const auto list = ParseProjectList(
      List(Row("<subscribed>1</subscribed><synced-size>" + most + "</synced-size>") +
           Row("<subscribed>1</subscribed><external>1</external><synced-size>1</synced-size>"
               "<synced-files>4</synced-files>") +
           Row("<external>1</external><total-size>-5</total-size>")),
      {});
  ASSERT_TRUE(list);
  EXPECT_EQ(list->synced.size(), 1u);
  EXPECT_EQ(list->external.size(), 1u);
  EXPECT_EQ(list->notSubscribed.size(), 1u);
  EXPECT_EQ(list->subscribedTotals, (ProjectTotals{kMost, 4}));
  EXPECT_EQ(list->notSubscribedTotals, (ProjectTotals{-5, 0}));
}

TEST(ProjectListParserTest, SortsByNameWithoutRegardToCaseAndKeepsEqualNames) {
  std::vector<Project> projects;
  for (const char* name : {"beta", "\xC3\x89tude", "Alpha", "\xC3\xA9TUDE", "ALPHA", "", "Zeta"}) {
    projects.emplace_back().setName(name);
  }
  SortProjects(projects);
  EXPECT_EQ(Names(projects), ";Alpha;ALPHA;beta;Zeta;\xC3\x89tude;\xC3\xA9TUDE;");
}

TEST(ProjectTest, SelectionIsKeptAsTextAndSentIndented) {
  const XmlDocument document = ParseXmlDocument(
      "<p:top xmlns:p='u'>\n <p:set name='a&amp;b'>\n\n  <on></on> <off>x y</off></p:set></p:top>",
      nullptr);
  Project project;
  project.setPartialSubscribeXML(xmlFirstElementChild(xmlDocGetRootElement(document.get())));
  Project stored;
  stored.setDictionary(project.dictionary());
  EXPECT_EQ(stored.partialSubscribePayload(),
            "<p:set xmlns:p=\"u\" name=\"a&amp;b\">\n  <on/>\n  <off>x y</off>\n</p:set>");
  for (const char* text : {"", "no element", "<cut>"}) {
    stored.setObject(text, "partialSubscriptionXML");
    EXPECT_FALSE(stored.isPartialSubscribe() || stored.partialSubscribePayload()) << text;
  }
  project.setPartialSubscribeXML(nullptr);
  EXPECT_TRUE(project.dictionary().empty());
}

class ProjectsFileTest : public Fixture {
 protected:
  // The files beside the disk copy.
  std::size_t Files() const {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator(Home("copies")), {}));
  }
  const std::string path_ = Home("copies/list.plist");
  const PropertyList rows_{
      PropertyList::Array{PropertyList::Dictionary{{"name", "A"}, {"owner", "\x01"}}}};
};

TEST_F(ProjectsFileTest, RoundTripKeepsTextsThatXmlCannotHold) {
  ASSERT_TRUE(StoreProjectsFile(path_, rows_));
  ASSERT_TRUE(StoreProjectsFile(path_, rows_));
  EXPECT_EQ(Files(), 1u);
  EXPECT_EQ(std::filesystem::status(path_).permissions(), std::filesystem::perms(0600));
  const auto projects = LoadProjectsFile(path_);
  ASSERT_EQ(projects.size(), 1u);
  EXPECT_EQ(projects[0].owner(), "\x01");
}

TEST_F(ProjectsFileTest, FailureLeavesWhatWasThere) {
  std::filesystem::create_directories(path_);
  EXPECT_FALSE(StoreProjectsFile(path_, rows_));
  EXPECT_EQ(LogCount("ERROR: Unable to save project list: " + path_), 1);
  EXPECT_EQ(Files(), 1u);
  EXPECT_TRUE(LoadProjectsFile(path_).empty());
  WriteFile(Home("file"), "x");
  EXPECT_FALSE(StoreProjectsFile(Home("file/list.plist"), rows_));
}

TEST_F(ProjectsFileTest, WhatIsNoListOfDictionariesIsSkippedAndLogged) {
  EXPECT_TRUE(LoadProjectsFile(path_).empty());
  EXPECT_EQ(LogCount(path_), 0) << "there need be no file";
  WriteFile(path_, "<plist><dict/></plist>");
  EXPECT_TRUE(LoadProjectsFile(path_).empty());
  EXPECT_EQ(LogCount("there is no list of projects in " + path_ + ": no array"), 1);
  WriteFile(path_, "<plist><array><string>x</string><dict/></array></plist>");
  EXPECT_EQ(LoadProjectsFile(path_).size(), 1u);
  EXPECT_EQ(LogCount("rows are no projects in " + path_ + ": 1"), 1);
}

}  // namespace
}  // namespace kelvo::test
