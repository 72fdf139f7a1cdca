#include "projects/projects_list.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/notification_center.h"
#include "base/string_map.h"
#include "settings/account_list.h"
#include "tests/support/fixture.h"

namespace kelvo::test {
namespace {

using std::chrono::seconds;
using Info = PropertyList::Dictionary;

// A client that keeps what it was told.
class Client : public AgentEventReceiver {
 public:
  void performSelector(Selector selector, const Info& userInfo) override {
    EXPECT_EQ(selector.name, "changed");
    changes.push_back(userInfo);
    if (then) then();
  }
  std::vector<Info> changes;
  std::function<void()> then;
};

std::string Row(const std::string& id, const std::string& fields) {
  return "<project><id>" + id + "</id><name>N" + id + "</name>" + fields + "</project>";
}
std::string Subscribed(const std::string& id, const std::string& path,
                       const std::string& fields = {}) {
  return Row(id, "<subscribed>1</subscribed><local-path>" + path + "</local-path>" + fields);
}

std::string Ids(const ProjectsList::Projects& projects) {
  std::string ids;
  for (const Project& project : projects) ids += project.id();
  return ids;
}

class ProjectsListTest : public Fixture {
 protected:
  ProjectsListTest() {
    AccountList::SetSettingsQueue(&fake_.settingsQueue);
    fake_.transport.present = true;
    InitializeBridge("bridge", nullptr, &delegate_, fake_.transport, fake_.runLoop, fake_.clock);
    ProjectsList::SetFactory(
        [this] { return std::make_unique<ProjectsList>(fake_.runLoop, fake_.settingsQueue); });
  }
  ~ProjectsListTest() override {
    ProjectsList::SetFactory({});
    DeallocBridge();
  }

  void Start() {
    ProjectsList::addClient(&client_, {"changed"});
    Settle();
    client_.changes.clear();
    fake_.transport.sent.clear();
  }
  void WriteAccount(const std::string& entries) {
    WriteFile(folder_ + "user_info.plist", "<plist><dict>" + entries + "</dict></plist>");
  }
  void Settle() {
    fake_.settingsQueue.RunAll();
    fake_.runLoop.RunPosted();
  }
  void Answer(const std::string& command, const std::string& rows) {
    fake_.transport.DeliverEvent(
        "sync_response",
        {{"command", command}, {"project-list", "<project-list>" + rows + "</project-list>"}});
  }
  // The commands sent since the last call, one after the other.
  std::string Commands() {
    Settle();
    std::string commands;
    for (const auto& message : std::exchange(fake_.transport.sent, {})) {
      const PropertyList* command = FindValue(message.info, "command");
      if (command != nullptr) commands += command->ToText().value_or("") + ";";
    }
    return commands;
  }
  // The only message since the last call.
  std::string OnlyEvent() {
    Settle();
    const auto sent = std::exchange(fake_.transport.sent, {});
    if (sent.size() != 1) return std::to_string(sent.size()) + " messages";
    return MapJoin(ToStringMap(sent[0].info), ';');
  }
  static ProjectsList& list() { return *ProjectsList::defaultProjectsList(); }

  struct : NotificationsBridgeDelegate {
    void communicationInitiatized() override {}
    void communicationEnded() override {}
  } delegate_;
  const std::string folder_ = Home("Library/Preferences/com.kelvo.vip/");
  const std::string copyPath_ = folder_ + "subscribed_projects.plist";
  Client client_;
};

constexpr char kBoth[] = "subscribed-projects;not-subscribed-projects;";

TEST_F(ProjectsListTest, FirstClientHearsAnySenderLaterOnesTheListWhichGoesWithTheLast) {
  NotificationCenter& center = NotificationCenter::LocalCenter();
  Client second;
  ProjectsList::addClient(&client_, {"changed"});
  ProjectsList::addClient(&second, {"changed"});
  EXPECT_EQ(Commands(), kBoth);
  EXPECT_EQ(client_.changes.size(), 1u) << "the copy on disk";
  center.Post(kProjectsListChanged, "somebody", {});
  EXPECT_EQ(client_.changes.size(), 2u);
  EXPECT_EQ(second.changes.size(), 1u);
  ProjectsList::removeClient(&second);
  Answer("not-subscribed-projects", "");
  EXPECT_EQ(client_.changes.size(), 3u);
  EXPECT_EQ(second.changes.size(), 1u);
  client_.then = [this] { ProjectsList::removeClient(&client_); };
  list().setPendingSyncOperation(ProjectsList::OperationState::kPending, "1", std::nullopt);
  EXPECT_EQ(client_.changes.size(), 4u);
  Answer("subscribed-projects", "");
  fake_.runLoop.Advance(seconds(200));
  EXPECT_EQ(client_.changes.size(), 4u) << "there is no list any more";
  EXPECT_EQ(Commands(), "");
}

TEST_F(ProjectsListTest, CommandsSayTheirKeysAndAbsentValuesAreEmpty) {
  Start();
  Project project;
  project.setId("7");
  const struct {
    std::function<void()> command;
    const char* sent;
  } kCases[] = {
      {[&] { list().subscribeProject(project, "/p", "f", "m"); },
       "command=connect-project;@full-path=/p;merge-option=m;project-id=7;"},
      {[&] { list().subscribeProjectFolderId(project, "f"); },
       "command=subscribe;@folder-id=f;full-path=;project-id=7;"},
      {[&] { list().getPartialInfo("7"); }, "command=get-partial-subscribe;@project-id=7;"},
      {[&] { list().setPath("/n", project); }, "command=set-project-path;@path=/n;project-id=7;"},
      {[&] { list().unsubscribeProject(project); },
       "command=unsubscribe;@folder-id=;project-id=7;"},
      {[&] { list().unsubscribeProjectPath("/w/../p/"); },
       "command=unsubscribe;@project-path=/w/../p/;"},
      {[&] { list().createEPPath("/e", "E"); }, "command=create-external;@name=E;path=/e;"},
      {[&] { list().commitProjects(); }, "command=commit-projects;@"},
  };
  for (const auto& test : kCases) {
    std::string expected = test.sent;
    expected.replace(expected.find('@'), 1, "event_name=sync_request;");
    test.command();
    EXPECT_EQ(OnlyEvent(), expected);
  }
  list().updateProjectOldPath("/nowhere", "/n");
  EXPECT_EQ(Commands(), "");
  EXPECT_EQ(LogCount("ERROR: Project not found!"), 1);
}

TEST_F(ProjectsListTest, AnswersFillTheKindsAndTheirTotals) {
  Start();
  Answer("subscribed-projects",
         Subscribed("1", "/w/1", "<synced-files>2</synced-files><synced-size>5</synced-size>") +
             Subscribed("2", "/e", "<external>1</external>"));
  Answer("not-subscribed-projects", Row("3", "<total-files>9</total-files>"));
  EXPECT_EQ(Ids(list().projects()), "312");
  EXPECT_EQ(list().syncedFiles(), 2);
  EXPECT_EQ(list().notSyncedFiles(), 9);
  EXPECT_EQ(client_.changes.back(),
            (Info{{"operation", "0"}, {"timed-out", "0"}, {"initialized", true}}));
  Answer("subscribed-projects", "");
  EXPECT_EQ(Ids(list().projects()), "3");
  EXPECT_EQ(list().syncedFiles(), 2) << "no project of the kind, no new totals";
  for (int i = 0; i < 3; ++i) Answer("subscribed-projects", Row("3", "<x>new</x>"));
  ASSERT_EQ(Ids(list().projects()), "3") << "rows of the other kind do not pile up";
  EXPECT_TRUE(list().projectWithId("3")->objectForKey("x"));
}

TEST_F(ProjectsListTest, MalformedListEmptiesItsKindAndLeavesTheDiskCopy) {
  Start();
  fake_.transport.DeliverEvent("sync_response", {{"command", "subscribed-projects"}});
  EXPECT_FALSE(list().isInitialized());
  Answer("subscribed-projects", Subscribed("1", "/w"));
  EXPECT_TRUE(list().isInitialized());
  list().subscribeProject(Project());
  Answer("subscribed-projects", Subscribed("1", "/w"));
  const std::string copy = ReadFile(copyPath_);
  EXPECT_NE(copy.find("N1"), std::string::npos);
  list().subscribeProject(Project());
  fake_.transport.DeliverEvent("sync_response",
                               {{"command", "subscribed-projects"}, {"project-list", "<cut"}});
  EXPECT_EQ(list().subscribedProjectsCount(), 0u);
  EXPECT_EQ(ReadFile(copyPath_), copy);
  fake_.transport.DeliverEvent("sync_response",
                               {{"command", "subscribed-projects"}, {"project-list", "<other/>"}});
  EXPECT_NE(ReadFile(copyPath_), copy) << "the next list is the one to be saved";
}

TEST_F(ProjectsListTest, PendingOperationEndsWithItsProjectOrAfter180Seconds) {
  Start();
  const auto last = [this](const char* key) { return *FindValue(client_.changes.back(), key); };
  list().createEPPath("/e", "E");
  EXPECT_EQ(last("operation"), PropertyList("1"));
  fake_.runLoop.Advance(seconds(179));
  EXPECT_EQ(last("operation"), PropertyList("1"));
  fake_.runLoop.Advance(seconds(1));
  EXPECT_EQ(last("operation"), PropertyList("0"));
  EXPECT_EQ(last("timed-out"), PropertyList("1"));
  list().createEPPath("/e", "E");
  EXPECT_EQ(last("timed-out"), PropertyList("0"));
  Answer("subscribed-projects", Subscribed("1", "/other"));
  EXPECT_EQ(last("operation"), PropertyList("1"));
  Answer("subscribed-projects", Subscribed("1", "/e"));
  EXPECT_EQ(last("operation"), PropertyList("0"));
  const std::size_t told = client_.changes.size();
  fake_.runLoop.Advance(seconds(200));
  EXPECT_EQ(client_.changes.size(), told);
}

TEST_F(ProjectsListTest, EventsThatAskForBothLists) {
  Start();
  const struct {
    const char* name;
    Info info;
    bool asks;
  } kCases[] = {
      {"sync_project_quota", {}, true},
      {"sync_status", {}, true},
      {"sync_status", {{"send-count", "0"}, {"receive-count", 0}}, true},
      {"sync_status", {{"send-count", "1"}}, false},
      {"sync_status", {{"receive-count", 1}}, false},
      {"other", {}, false},
  };
  for (const auto& test : kCases) {
    fake_.transport.DeliverEvent(test.name, test.info);
    EXPECT_EQ(Commands(), test.asks ? kBoth : "") << test.name;
  }
  for (int status = 0; status < 7; ++status) {
    fake_.transport.Deliver(kConnectionStatusName, {{"status", status}});
    EXPECT_EQ(Commands(), status == 3 || status == 4 ? kBoth : "") << status;
  }
}

TEST_F(ProjectsListTest, RequestsWaitTogetherForTheAccountAndAtMostTwoSeconds) {
  WriteAccount("<key>calculate_synced</key><false/>");
  fake_.settingsQueue.Hold(true);
  ProjectsList::addClient(&client_, {"changed"});
  int sent = 0;
  for (int i = 0; i < 3; ++i) {
    fake_.transport.DeliverEvent("sync_status");
    list().readCalculateSynced([&](bool) { ++sent; });
    list().requestSubscribedProjects();
  }
  fake_.runLoop.Advance(seconds(2));
  EXPECT_EQ(sent, 3);
  EXPECT_EQ(*FindValue(fake_.transport.sent.at(1).info, "compute-synced"), PropertyList("1"));
  EXPECT_EQ(LogCount("another program keeps a settings file locked"), 1);
  EXPECT_EQ(Commands(), kBoth);
  list().requestSubscribedProjects();
  EXPECT_EQ(OnlyEvent(), "command=subscribed-projects;compute-synced=0;event_name=sync_request;");
}

TEST_F(ProjectsListTest, OwnNamesFollowTheAccount) {
  Start();
  const std::string rows = Subscribed("1", "/w", "<owner>Ann</owner>");
  Answer("subscribed-projects", rows);
  EXPECT_EQ(list().projectWithId("1")->owner(), "Ann");
  WriteAccount("<key>full_name</key><string>Ann</string>");
  fake_.transport.Deliver(kSettingsChangedName, {});
  Settle();
  Answer("subscribed-projects", rows);
  EXPECT_EQ(list().projectWithId("1")->owner(), "Me");
}

TEST_F(ProjectsListTest, CopyOnDiskStandsUntilTheAgentHasAnswered) {
  const std::string copy =
      "<plist><array><dict><key>id</key><string>8</string></dict><integer>1</integer>"
      "<dict><key>id</key><string>9</string><key>external</key><true/></dict></array></plist>";
  WriteFile(copyPath_, copy);
  Start();
  EXPECT_EQ(Ids(list().subscribedSyncProjects()), "8");
  EXPECT_EQ(Ids(list().subscribedExternalProjects()), "9");
  EXPECT_FALSE(list().isInitialized());
  ProjectsList::removeClient(&client_);
  fake_.settingsQueue.Hold(true);
  ProjectsList::addClient(&client_, {"changed"});
  Answer("subscribed-projects", Subscribed("1", "/w"));
  Settle();
  EXPECT_EQ(Ids(list().projects()), "1");
}

}  // namespace
}  // namespace kelvo::test
