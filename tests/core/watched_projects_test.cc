// The projects' share in the extension: what opens a connection, and which folders are watched.
#include <string>
#include <vector>

#include "agent/notifications_bridge.h"
#include "tests/support/started_extension.h"

namespace kelvo::test {
namespace {

using std::chrono::milliseconds;

std::string ProjectXml(const std::string& name, const std::string& path, bool external) {
  return "<project><id>" + name + "</id><name>" + name + "</name><subscribed>1</subscribed>" +
         "<external>" + (external ? "1" : "0") + "</external><local-path>" + path +
         "</local-path></project>";
}

class WatchedProjectsTest : public StartedExtension {
 protected:
  void SendProjects(const std::string& projects) {
    fake_.transport.DeliverEvent(
        "sync_response",
        {{"command", PropertyList("subscribed-projects")},
         {"project-list", PropertyList("<project-list>" + projects + "</project-list>")}});
    fake_.runLoop.RunPosted();
  }
  std::vector<std::string> Watched() { return fake_.finder.directories.back(); }
  // What has been sent since the last call: message names, commands, values of "compute-synced".
  std::string Said() {
    std::string said;
    for (; said_ < fake_.transport.sent.size(); ++said_) {
      const auto& [name, info] = fake_.transport.sent[said_];
      for (const char* key : {"command", "event_name"}) {
        const PropertyList* value = FindValue(info, key);
        if (value == nullptr) continue;
        said += *value->AsString();
        break;
      }
      if (info.empty() || name == kReportStatusName) said += name;
      if (const PropertyList* value = FindValue(info, "compute-synced")) said += *value->AsString();
      said += ' ';
    }
    return said;
  }

 private:
  std::size_t said_ = 0;
};

TEST_F(WatchedProjectsTest, ExternalProjectsComeBeforeTheWorkplaceAndFollowTheList) {
  SendProjects(ProjectXml("beta", "/ext/b/", true) + ProjectXml("Alpha", "/ext/a", true) +
               ProjectXml("inside", Home("Work/inside"), false) + ProjectXml("gone", "", true) +
               ProjectXml("odd", "relative/x", true) + ProjectXml("twin", "/ext/a", true));
  EXPECT_EQ((std::vector<std::string>{"/ext/a", "/ext/b", Home("Work")}), Watched());
  SendProjects(ProjectXml("beta", "/ext/moved", true));
  EXPECT_EQ((std::vector<std::string>{"/ext/moved", Home("Work")}), Watched());
  const int menus = menusChanged_;
  SendProjects("");
  EXPECT_EQ((std::vector<std::string>{Home("Work")}), Watched());
  EXPECT_GT(menusChanged_, menus);
}

TEST_F(WatchedProjectsTest, NobodyOvertakesTheOpeningWhileItsSettingIsRead) {
  WriteUserInfo("<key>calculate_synced</key><false/>");
  Said();
  fake_.accountsQueue.Hold(true);
  fake_.transport.Invalidate();
  NotifyAgentReportStatus("0");
  fake_.runLoop.RunPosted();
  EXPECT_EQ("init_com ", Said());
  fake_.accountsQueue.RunAll();
  fake_.runLoop.RunPosted();
  EXPECT_EQ("subscribed-projects0 configuration_init com.kelvo.client.ReportStatus ", Said());

  // Nor does the message that finds the Agent.
  fake_.transport.present = false;
  fake_.transport.Invalidate();
  fake_.transport.present = true;
  Said();
  NotifyAgentReportStatus("0");
  EXPECT_EQ("init_com ", Said());
  fake_.accountsQueue.RunAll();
  fake_.runLoop.RunPosted();
  EXPECT_EQ("subscribed-projects0 configuration_init com.kelvo.client.ReportStatus ", Said());
}

TEST_F(WatchedProjectsTest, LockedAccountFilesHoldNoConfiguration) {
  fake_.accountsQueue.Hold(true);
  SendProjects(ProjectXml("a", "/ext/a", true));
  WriteUserInfo("<key>show_green_checkmarks</key><false/>");
  Configure();
  EXPECT_EQ((std::vector<std::string>{"/ext/a", Home("Work")}), Watched());
}

TEST_F(WatchedProjectsTest, LockedSettingsHoldTheOpeningForTwoSeconds) {
  Said();
  fake_.accountsQueue.Hold(true);
  fake_.transport.Invalidate();
  fake_.runLoop.Advance(milliseconds{1900});
  EXPECT_EQ("init_com ", Said());
  fake_.runLoop.Advance(milliseconds{200});
  EXPECT_EQ("subscribed-projects1 configuration_init ", Said());
  fake_.accountsQueue.RunAll();
  fake_.runLoop.RunPosted();
  EXPECT_EQ("", Said());
}

TEST_F(WatchedProjectsTest, OpeningOfALostConnectionIsNotFinishedOnTheNext) {
  Said();
  fake_.accountsQueue.Hold(true);
  fake_.transport.Invalidate();
  NotifyAgentReportStatus("0");  // lost with its connection
  fake_.transport.Invalidate();
  fake_.accountsQueue.RunAll();
  fake_.runLoop.RunPosted();
  EXPECT_EQ("init_com init_com subscribed-projects1 configuration_init ", Said());
}

class ProjectsOnDiskTest : public Fixture {};

TEST_F(ProjectsOnDiskTest, AreWatchedWithoutAnAgent) {
  WriteFile(Home("Library/Preferences/com.kelvo.vip/subscribed_projects.plist"),
            "<plist version=\"1.0\"><array><dict><key>name</key><string>Harbour</string>"
            "<key>external</key><string>1</string><key>local-path</key><string>/ext/h</string>"
            "</dict></array></plist>");
  FinderSync extension(fake_.platform,
                       std::make_shared<Bundle>(Home("bundle"), std::vector<std::string>{}),
                       nullptr);
  extension.init();
  fake_.runLoop.RunPosted();
  ASSERT_FALSE(fake_.finder.directories.empty());
  EXPECT_EQ((std::vector<std::string>{"/ext/h"}), fake_.finder.directories.back());
  extension.dealloc();
}

}  // namespace
}  // namespace kelvo::test
