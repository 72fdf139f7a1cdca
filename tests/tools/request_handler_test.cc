#include "tools/sample_agent/request_handler.h"

#include <filesystem>

#include "agent/notifications_bridge.h"
#include "settings/property_list_xml.h"
#include "tests/support/fixture.h"
#include "tools/sample_agent/deeds.h"

namespace kelvo::sample_agent {
namespace {

class RequestHandlerTest : public test::Fixture, private FolderWatcher::Listener {
 protected:
  using Project = PropertyList::Dictionary;

  RequestHandlerTest() {
    handler_.SetAccount({"Ann"});
    WriteFile(museum_ + "/f", "12345");
  }

  std::string MakeFolder() {
    WriteFile(Home("files/a"), "");
    return Home("files");
  }
  static std::string Value(const Answer& answer, const char* key) {
    const PropertyList* value = FindValue(answer.message.info, key);
    return value == nullptr ? "" : value->ToText().value_or("no text");
  }
  std::vector<Answer> Ask(const std::string& command, PropertyList::Dictionary pairs) {
    pairs.emplace("command", command);
    return handler_.Handle(Event("sync_request", std::move(pairs)));
  }
  // The answers as "event command result;", with a "*" for those that everybody gets.
  std::string Answers(const std::string& command, PropertyList::Dictionary pairs) {
    std::string text;
    for (const Answer& answer : Ask(command, std::move(pairs))) {
      if (answer.audience == Answer::Audience::kEverybody) text += '*';
      text += Value(answer, "event_name") + ' ' + Value(answer, "command") + ' ' +
              Value(answer, "result") + ';';
    }
    return text;
  }
  std::string List(const std::string& command, const char* computeSynced = "0") {
    return Value(Ask(command, {{"compute-synced", computeSynced}}).at(0), "project-list");
  }
  bool IsServed(const std::string& folder) {
    return Value(Ask("status-list", {{"path", folder}}).at(0), "list") != "0:";
  }
  void SetProjects(std::vector<Project> projects) {
    Scenario scenario;
    scenario.projects = std::move(projects);
    handler_.SetScenario(scenario);
  }

  const std::string root_ = MakeFolder();
  const std::string museum_ = Home("ext/museum");
  FolderModel model_{root_};
  FolderWatcher watcher_{model_, fake_.runLoop, fake_.clock, std::chrono::seconds(2), *this};
  RequestHandler handler_{model_, watcher_, fake_.clock};

 private:
  void OnItemChanged(const std::string&) override {}
  void OnItemsGone(const std::string&) override {}
};

TEST_F(RequestHandlerTest, ALockIsSetAndToldToEverybody) {
  const std::vector<Answer> answers = Ask("lock", {{"path", root_ + "/a"}, {"expire", "0"}});
  ASSERT_EQ(answers.size(), 2u);
  EXPECT_EQ(Value(answers[0], "lock"), "2");
  EXPECT_EQ(Value(answers[0], "lock_holder"), "Ann");
  EXPECT_EQ(Value(answers[0], "locktime"), std::to_string(fake_.clock.Now()));
  EXPECT_EQ(Value(answers[1], "path"), root_ + "/a");
  const struct {
    int result;
    const char* command;
    std::string path;
    const char* answers;
  } kRows[] = {
      {0, "unlock", root_ + "/a", "*sync_item  ;*sync_response unlock 0;"},
      {4, "lock", root_ + "/a", "*sync_response lock 4;"},
      {0, "unlock", root_ + "/none", "*sync_response unlock 2;"},
      {0, "unlock", root_ + "/../files/a", "*sync_response unlock 2;"},
      {0, "lock", "", "*sync_response lock 2;"},
  };
  for (const auto& row : kRows) {
    handler_.SetResult(row.result);
    EXPECT_EQ(Answers(row.command, {{"path", row.path}}), row.answers);
    EXPECT_EQ(model_.Find(root_ + "/a")->lock, sync::ESyncItemLock::NO_SYNC_LOCK);
  }
}

TEST_F(RequestHandlerTest, PublicLinksComeAndGo) {
  handler_.SetPublicLink("/b", true);
  handler_.SetPublicLink("/a", true);
  handler_.SetPublicLink("/b", true);
  handler_.SetPublicLink("/a", false);
  const Answer answer = Ask("sync-lists", {{"list-name", "publicLinks"}}).at(0);
  EXPECT_EQ(Value(answer, "list"), "2:/b0:0:0:0:0:0:0:0:");
  EXPECT_EQ(Value(answer, "list"), Value(ToAsker(handler_.PublicLinks()), "list"));
}

TEST_F(RequestHandlerTest, WhatTheUserWouldSeeIsToldOnOneLine) {
  const std::string path = root_ + "/a";
  const struct {
    const char* event;
    PropertyList::Dictionary pairs;
    std::string line;
  } kRows[] = {
      {"sync_request",
       {{"command", "lock"}, {"path", path}},
       "done: lock \"" + path + "\", result 0"},
      {"sync_request",
       {{"command", "unlock"}, {"path", "/no\n"}},
       "done: unlock \"/no\\n\", result 2"},
      {"open_file", {{"path", "/\x1b\""}}, R"(done: open "/\x1b\"")"},
      {"show_message",
       {{"title", "T"}, {"text", "\xE2\x80\xAE%s"}},
       R"(shown: message "T": "\xe2\x80\xae%s")"},
      {"finder_prequest",
       {{"command", "show-public-link-dialog"}, {"path", "/a"}, {"file-id", "F 1"}},
       R"(shown: public-link dialog for "/a", file id "F 1")"},
      {"finder_prequest",
       {{"command", "show-permissions-violations"}},
       "shown: permission-violations dialog"},
      {"finder_prequest", {{"command", "unknown"}}, ""},
      {"sync_request", {{"command", "status-list"}, {"path", root_}}, ""},
  };
  for (const auto& row : kRows) {
    const AgentMessage request = Event(row.event, row.pairs);
    EXPECT_EQ(DescribeDeed(request, handler_.Handle(request)), row.line);
  }
}

TEST_F(RequestHandlerTest, OnlyAKnownFolderHasAList) {
  EXPECT_EQ(Value(Ask("status-list", {{"path", root_}}).at(0), "list"),
            "1:1:a1:0:1064:0:0:3:1011:0:");
  EXPECT_FALSE(IsServed("/etc"));
}

TEST_F(RequestHandlerTest, ProjectsAreSplitAndTheirTextsSurviveTheReader) {
  SetProjects({{{"id", "1"}, {"name", "A & <B> 50%41;\n\xEF\xBF\xBF"}, {"subscribed", true}},
               {{"id", "2"}, {"name", "C"}, {"total-size", 5}, {"local-path", "/was"}}});
  EXPECT_EQ(List("subscribed-projects"),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?><project-list><project><id>1</id>"
            "<name>A &amp; &lt;B&gt; 50%25;41;%0a;%ffff;</name><subscribed>1</subscribed></project>"
            "</project-list>");
  EXPECT_EQ(List("not-subscribed-projects"),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?><project-list><project><id>2</id>"
            "<name>C</name><total-size>5</total-size></project></project-list>");
}

TEST_F(RequestHandlerTest, AnExternalProjectIsServedWhileItIsSubscribed) {
  SetProjects({{{"id", "1"}, {"name", "Museum"}}});
  EXPECT_EQ(Answers("subscribe", {{"project-id", "1"}, {"full-path", museum_}, {"folder-id", ""}}),
            "*sync_response subscribe 0;*sync_status  ;");
  EXPECT_NE(List("subscribed-projects").find("<external>1</external>"), std::string::npos);
  EXPECT_NE(List("subscribed-projects", "1").find("<synced-size>5</synced-size>"),
            std::string::npos);
  ASSERT_TRUE(IsServed(museum_));
  model_.Find(museum_ + "/f")->lock = sync::ESyncItemLock::SYNC_LOCK;

  const std::string hall = Home("ext/hall");
  std::filesystem::rename(museum_, hall);
  EXPECT_EQ(Answers("update-project-path", {{"project-id", "1"}, {"path", hall}}),
            "*sync_response update-project-path 0;*sync_status  ;");
  EXPECT_FALSE(IsServed(museum_));
  ASSERT_TRUE(IsServed(hall));
  EXPECT_EQ(model_.Find(hall + "/f")->lock, sync::ESyncItemLock::SYNC_LOCK);

  EXPECT_EQ(Answers("unsubscribe", {{"project-path", hall}}),
            "*sync_response unsubscribe 0;*sync_status  ;");
  EXPECT_FALSE(IsServed(hall));
  EXPECT_NE(List("not-subscribed-projects").find("<total-size>5</total-size>"), std::string::npos);
  EXPECT_TRUE(handler_.Projects().Subscribe("1", ""));
  EXPECT_TRUE(IsServed(hall));
}

TEST_F(RequestHandlerTest, AFolderIsServedHoweverItsPathIsWritten) {
  SetProjects({{{"id", "1"}, {"local-path", museum_ + "/./"}, {"external", 1}, {"subscribed", 1}},
               {{"id", "2"}, {"local-path", "/"}, {"external", 1}, {"subscribed", 1}}});
  EXPECT_TRUE(IsServed(museum_));
  EXPECT_FALSE(IsServed("/etc"));
}

TEST_F(RequestHandlerTest, ProjectRequestsThatFailChangeNothing) {
  SetProjects({{{"id", "1"}, {"name", "One"}}, {{"id", "2"}, {"name", "../Two"}}});
  const struct {
    const char* command;
    PropertyList::Dictionary pairs;
  } kRows[] = {
      {"subscribe", {{"project-id", "9"}}},
      {"subscribe", {{"project-id", "2"}}},
      {"subscribe", {{"project-id", "1"}, {"full-path", "relative"}}},
      {"connect-project", {{"project-id", "1"}, {"full-path", "/"}}},
      {"unsubscribe", {{"project-id", "1"}}},
      {"unsubscribe", {{"project-path", ""}}},
      {"update-project-path", {{"project-id", "1"}}},
      {"create-external", {{"path", root_ + "/inside"}, {"name", "N"}}},
      {"create-external", {{"path", "/a/../b"}, {"name", "N"}}},
      {"create-external", {{"path", museum_}, {"name", ""}}},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(Answers(row.command, row.pairs),
              std::string("*sync_response ") + row.command + " 2;");
  }
  EXPECT_EQ(List("subscribed-projects").find("<project>"), std::string::npos);
}

TEST_F(RequestHandlerTest, ProjectsAreCreatedImportedAndChosenInPart) {
  SetProjects({{{"id", "1"}, {"name", "One"}}, {{"id", "3"}, {"name", "Three"}}});
  EXPECT_EQ(Answers("create-external", {{"path", museum_}, {"name", "Museum"}}),
            "*sync_response create-external 0;*sync_status  ;");
  EXPECT_TRUE(IsServed(museum_));
  EXPECT_NE(List("subscribed-projects").find("<id>2</id>"), std::string::npos);

  const PropertyList::Dictionary chosen{{"payload", "<select><id>1</id></select>"}};
  EXPECT_EQ(Answers("set-partial-subscribe", chosen), "*server_response set-partial-subscribe 1;");
  EXPECT_NE(List("subscribed-projects").find("<partial>1</partial>"), std::string::npos);
  EXPECT_EQ(Value(Ask("get-partial-subscribe", {{"project-id", "1"}}).at(0), "payload"),
            "<select><id>1</id></select>");
  for (const char* payload : {"", "<select>", "<select id='9'/>"}) {
    EXPECT_EQ(Answers("set-partial-subscribe", {{"payload", payload}}),
              "*server_response set-partial-subscribe 0;");
  }

  // The place is set first and told with the import, as an extension does.
  EXPECT_EQ(Answers("set-project-path", {{"project-id", "3"}, {"path", Home("ext/three")}}),
            "*sync_response set-project-path 0;");
  EXPECT_EQ(handler_
                .Handle(Event("project_import_start", {{"project-ids", "3,9"},
                                                       {"subscribe-xmls", "0,0"},
                                                       {"path", "/old"},
                                                       {"project-root", "/new"}}))
                .size(),
            1u);
  EXPECT_NE(List("subscribed-projects").find(Home("ext/three")), std::string::npos);
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

}  // namespace
}  // namespace kelvo::sample_agent
