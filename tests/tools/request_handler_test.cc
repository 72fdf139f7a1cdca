#include "tools/sample_agent/request_handler.h"

#include <filesystem>

#include "agent/notifications_bridge.h"
#include "settings/property_list_xml.h"
#include "tests/support/fixture.h"

namespace kelvo::sample_agent {
namespace {

class RequestHandlerTest : public test::Fixture, private FolderWatcher::Listener {
 protected:
  RequestHandlerTest() { handler_.SetAccount({"Ann"}); }

  std::string MakeFolder() {
    WriteFile(Home("files/a"), "");
    return Home("files");
  }
  std::vector<Answer> Ask(const std::string& command, PropertyList::Dictionary pairs) {
    pairs.emplace("command", command);
    return handler_.Handle(Event("sync_request", std::move(pairs)));
  }
  static std::string Value(const Answer& answer, const char* key) {
    const PropertyList* value = FindValue(answer.message.info, key);
    return value == nullptr ? "absent" : value->ToText().value_or("no text");
  }

  const std::string root_ = MakeFolder();
  FolderModel model_{root_};
  FolderWatcher watcher_{model_, fake_.runLoop, fake_.clock, std::chrono::seconds(2), *this};
  RequestHandler handler_{model_, watcher_, fake_.clock};

 private:
  void OnItemChanged(const std::string&) override {}
  void OnItemsGone(const std::string&) override {}
};

TEST_F(RequestHandlerTest, ALockIsSetAndToldToEverybody) {
  std::vector<Answer> answers = Ask("lock", {{"path", root_ + "/a"}, {"expire", "0"}});
  ASSERT_EQ(answers.size(), 2u);
  EXPECT_EQ(Value(answers[0], "event_name"), "sync_item");
  EXPECT_EQ(Value(answers[0], "lock"), "2");
  EXPECT_EQ(Value(answers[0], "lock_holder"), "Ann");
  EXPECT_EQ(Value(answers[0], "locktime"), std::to_string(fake_.clock.Now()));
  EXPECT_EQ(Value(answers[1], "event_name"), "sync_response");
  EXPECT_EQ(Value(answers[1], "command"), "lock");
  EXPECT_EQ(Value(answers[1], "path"), root_ + "/a");
  EXPECT_EQ(Value(answers[1], "result"), "0");
  for (const Answer& answer : answers) {
    EXPECT_EQ(answer.audience, Answer::Audience::kEverybody);
  }
  answers = Ask("unlock", {{"path", root_ + "/a"}});
  ASSERT_EQ(answers.size(), 2u);
  EXPECT_EQ(Value(answers[0], "lock"), "0");
  EXPECT_EQ(Value(answers[0], "lock_holder"), "");
}

TEST_F(RequestHandlerTest, ALockThatFailsChangesNothing) {
  handler_.SetResult(4);
  std::vector<Answer> answers = Ask("lock", {{"path", root_ + "/a"}});
  ASSERT_EQ(answers.size(), 1u);
  EXPECT_EQ(Value(answers[0], "result"), "4");
  EXPECT_EQ(model_.Find(root_ + "/a")->lock, sync::ESyncItemLock::NO_SYNC_LOCK);
  handler_.SetResult(0);
  for (const char* path : {"/none", "/../files/a", "/./a"}) {
    answers = Ask("unlock", {{"path", root_ + path}});
    ASSERT_EQ(answers.size(), 1u) << path;
    EXPECT_EQ(Value(answers[0], "result"), "2") << path;
  }
  EXPECT_EQ(Ask("lock", {}).size(), 1u);
}

TEST_F(RequestHandlerTest, OnlyAKnownFolderHasAList) {
  EXPECT_EQ(Value(Ask("status-list", {{"path", root_}}).at(0), "list"),
            "1:1:a1:0:1064:0:0:2:F11:0:");
  const std::vector<Answer> answers = Ask("status-list", {{"path", "/etc"}});
  ASSERT_EQ(answers.size(), 1u);
  EXPECT_EQ(Value(answers[0], "path"), "/etc");
  EXPECT_EQ(Value(answers[0], "list"), "0:");
  EXPECT_EQ(answers[0].audience, Answer::Audience::kAsker);
}

TEST_F(RequestHandlerTest, ProjectsAreSplitAndTheirTextsSurviveTheReader) {
  Scenario scenario;
  scenario.projects = {{{"id", "1"}, {"name", "A & <B> 50%41;"}, {"subscribed", true}},
                       {{"id", "2"}, {"name", "C"}, {"total-size", 5}}};
  handler_.SetScenario(scenario);
  EXPECT_EQ(Value(Ask("subscribed-projects", {}).at(0), "project-list"),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?><project-list><project><id>1</id>"
            "<name>A &amp; &lt;B&gt; 50%25;41;</name><subscribed>1</subscribed></project>"
            "</project-list>");
  EXPECT_EQ(Value(Ask("not-subscribed-projects", {}).at(0), "project-list"),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?><project-list><project><id>2</id>"
            "<name>C</name><total-size>5</total-size></project></project-list>");
}

TEST_F(RequestHandlerTest, OpeningMessagesAreAnswered) {
  handler_.SetConnectionStatus(1);
  const auto status = handler_.Handle({kReportStatusName, {{"agent-id", "0"}}});
  ASSERT_EQ(status.size(), 1u);
  EXPECT_EQ(status[0].message.name, kConnectionStatusName);
  EXPECT_EQ(*FindValue(status[0].message.info, "status"), PropertyList(1));
  EXPECT_EQ(Value(handler_.Handle(Event("configuration_init", {})).at(0), "event_name"),
            "configuration_updated");
  EXPECT_TRUE(handler_.Handle({kInitComName, {}}).empty());
  EXPECT_TRUE(handler_.Handle(Event("open_file", {{"path", "x"}})).empty());
  EXPECT_TRUE(handler_.Handle({kAgentEventName, {}}).empty());
}

class AccountFilesTest : public test::Fixture {
 protected:
  PropertyList::Dictionary Settings() {
    std::string error;
    const auto list = ReadXmlPropertyList(ReadFile(AccountFilePath()), &error);
    EXPECT_TRUE(list.has_value() && list->AsDictionary() != nullptr) << error;
    return list.has_value() ? *list->AsDictionary() : PropertyList::Dictionary();
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
  const PropertyList::Dictionary settings = Settings();
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

}  // namespace
}  // namespace kelvo::sample_agent
