#include <gtest/gtest.h>
#include <stdlib.h>

#include "agent/notification_module.h"
#include "agent/notifications_bridge.h"
#include "core/finder_configuration.h"
#include "tests/support/started_extension.h"
#include "ui/menu_context.h"

namespace kelvo::test {
namespace {

constexpr long kTime = 1'700'000'000;  // November 14, 2023
constexpr char kToken[] =
    "<kelvoApiResponse><commandResponse><onetimetoken>t</onetimetoken></commandResponse>"
    "</kelvoApiResponse>";
constexpr char kTicket[] =
    "<kelvoApiResponse><commandResponse><ticket>T1</ticket></commandResponse></kelvoApiResponse>";

class MenuActionsTest : public StartedExtension {
 protected:
  MenuActionsTest() {
    setenv("TZ", "UTC", 1);
    WriteUserInfo(UserInfo(""));
    Configure();
    fake_.transport.Deliver(kConnectionStatusName, {{"status", PropertyList(4)}});
  }
  ~MenuActionsTest() override { unsetenv("TZ"); }

  static std::string UserInfo(const std::string& more) {
    return "<key>user_id</key><string>12345</string><key>rcid</key><string>r1</string>" + more;
  }
  std::unique_ptr<KelvoMenuContext> ContextFor(const std::vector<ListRecord>& items) {
    SendList(Home("Work"), items);
    auto context = std::make_unique<KelvoMenuContext>(
        MenuSources{cache(), *CSyncApi::m_Instance, *CNotificationModule::m_Instance,
                    *CFinderConfiguration::m_Instance, fake_.clock, fake_.runLoop, fake_.http,
                    fake_.desktop, fake_.dialogs});
    context->setMenu(&menu_);
    std::vector<std::string> paths;
    for (const ListRecord& item : items) paths.push_back(Home("Work/") + item.name);
    context->setSelectedItems(paths);
    return context;
  }
  // The last component of each path that the Agent was asked to lock or unlock.
  std::string Asked(const std::string& command) {
    fake_.runLoop.RunPosted();
    std::string names;
    for (const auto& request : fake_.transport.Events(command)) {
      const std::string path = *request.at("path").AsString();
      names += path.substr(path.rfind('/') + 1) + " ";
    }
    return names;
  }

  Menu menu_;
  FakePasteboard pasteboard_;
};

TEST_F(MenuActionsTest, LocksAndUnlocksWhatTheMenuWasFor) {
  auto context = ContextFor({{.name = "a"}, {.name = "b"}});
  SendList(Home("Work"), {});  // both are gone; the user chose them all the same
  context->lockButtonPressed("");
  EXPECT_EQ(Asked("lock"), "a b ");
  EXPECT_EQ(*fake_.transport.Events("lock")[0].at("expire").AsString(), "0");
  context = ContextFor({{.name = "a", .lock = 2}, {.name = "b", .lock = 2}, {.name = "c"}});
  context->unlockButtonPressed("");
  EXPECT_EQ(Asked("unlock"), "a b c ");
  EXPECT_EQ(fake_.dialogs.opened, 0);
}

TEST_F(MenuActionsTest, LocksManyAsFastAsTheAgentReads) {
  const auto asked = [&] { return fake_.transport.Events("lock").size(); };
  auto context = ContextFor(std::vector<ListRecord>(5000, ListRecord{.name = "a"}));
  context->lockButtonPressed("");
  fake_.runLoop.RunPosted();
  EXPECT_EQ(asked(), 5000u);
  fake_.transport.outgoingBytes = 100'000;
  context->lockButtonPressed("");
  fake_.runLoop.Advance(std::chrono::seconds(2));
  const std::size_t few = asked() - 5000;
  EXPECT_LT(few, 500u);
  fake_.transport.outgoingBytes = 90'000;  // it goes on, slowly
  fake_.runLoop.Advance(std::chrono::seconds(2));
  fake_.transport.outgoingBytes = 0;
  fake_.runLoop.Advance(std::chrono::seconds(2));
  EXPECT_EQ(asked(), 10'000u);
  fake_.transport.outgoingBytes = 100'000;
  context->lockButtonPressed("");
  fake_.runLoop.Advance(std::chrono::seconds(10));
  fake_.transport.outgoingBytes = 0;
  fake_.runLoop.Advance(std::chrono::seconds(10));
  EXPECT_EQ(asked(), 10'000u + few) << "given up";
  EXPECT_EQ(LogCount("requests are not sent: the Agent does not read"), 1);
}

TEST_F(MenuActionsTest, AsksBeforeUnlockingWhatSomebodyElseLocked) {
  const std::vector<ListRecord> locked = {
      {.name = "a", .lock = 1, .lockHolder = "<b>Eve</b> %@", .lockTime = kTime},
      {.name = "b", .lock = 2}};
  auto context = ContextFor(locked);
  for (const bool agrees : {false, true}) {
    fake_.runLoop.Post([&] {
      ASSERT_EQ(fake_.dialogs.Open().size(), 1u);
      EXPECT_EQ(fake_.dialogs.Open()[0].informationText,
                "This file was locked by <b>Eve</b> %@\non November 14, 2023.");
      fake_.dialogs.Close(0, {.ok = agrees});
    });
    context->unlockButtonPressed("token");
    EXPECT_EQ(Asked("unlock"), agrees ? "a " : "");
  }
  EXPECT_EQ(fake_.dialogs.activationToken, "token");
}

TEST_F(MenuActionsTest, CopiesTheLinkAndHasTheAgentSaySo) {
  auto context = ContextFor({{.name = "a \"%@\" b", .fileId = "67890"}});
  pasteboard_.text = "former";
  pasteboard_.fails = true;
  context->copyLinkButtonPressed(pasteboard_);
  fake_.runLoop.RunPosted();
  EXPECT_TRUE(fake_.transport.Events("show_message").empty());
  EXPECT_FALSE(pasteboard_.text) << "cleared";
  pasteboard_.fails = false;
  context->copyLinkButtonPressed(pasteboard_);
  EXPECT_EQ(pasteboard_.text, "https://www.kelvo.example/filelink/daoi-eete-jgszmpdw");
  fake_.runLoop.RunPosted();
  const auto notices = fake_.transport.Events("show_message");
  ASSERT_EQ(notices.size(), 1u);
  EXPECT_EQ(*notices[0].at("text").AsString(),
            "A link to 'a \"%@\" b' has been copied to your clipboard");

  SendList(Home("Work"), {});  // it is gone; the user chose it all the same
  WriteUserInfo(UserInfo("<key>cell_id</key><string>eu2</string>"));
  WriteFile(Home("Library/Preferences/com.kelvo.vip/server_info.plist"),
            "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>web_server</key>"
            "<string>web.example:8443</string></dict></plist>");
  Configure();
  context->copyLinkButtonPressed(pasteboard_);
  EXPECT_EQ(pasteboard_.text, "https://web.example:8443/eu2/filelink/daoi-eete-jgszmpdw");
}

TEST_F(MenuActionsTest, AWebCommandUnderWayKeepsOthersFromStarting) {
  auto context = ContextFor({{.name = "a", .fileId = "f1"}});
  context->addCommentButtonPressed("token");
  EXPECT_EQ(context->pendingWebCommand(), fake_.clock.Now() + 10);
  context->openKelvoHereButtonPressed("");
  auto other = ContextFor({{.name = "a", .fileId = "f1"}});
  other->openKelvoHereButtonPressed("");
  EXPECT_EQ(fake_.http.requests.size(), 1u);
  fake_.http.Answer({.body = kToken});
  fake_.http.Answer({.body = kTicket});
  EXPECT_EQ(context->pendingWebCommand(), 0);
  EXPECT_EQ(fake_.desktop.opened,
            std::vector<std::string>{
                "https://www.kelvo.example/directnavigation?view=fileAddComment&ticket=T1&"
                "rcid=r1&fileID=f1 token"});
  // After a failure the next may start at once.
  context->openKelvoHereButtonPressed("");
  fake_.http.Answer({.error = HttpError{"no route", ""}});
  EXPECT_EQ(context->pendingWebCommand(), 0);
  other->openKelvoHereButtonPressed("");
  EXPECT_EQ(fake_.http.requests.size(), 4u);
}

TEST_F(MenuActionsTest, ASynchronousWebCommandIsNeverPending) {
  auto context = ContextFor({{.name = "a", .fileId = "f1"}});
  context->setSynchronous(true);
  fake_.http.answers = {{.body = kToken}, {.body = kTicket}};
  context->openKelvoHereButtonPressed("");
  EXPECT_EQ(context->pendingWebCommand(), 0);
  EXPECT_EQ(fake_.desktop.opened.size(), 1u);

  context = ContextFor({{.name = "a"}});
  SetLogLevel(3);
  context->openKelvoHereButtonPressed("");
  EXPECT_EQ(LogCount("Unable to run webcommand"), 0);
  SetLogLevel(4);
  context->openKelvoHereButtonPressed("");
  EXPECT_EQ(LogCount("Unable to run webcommand for fileId:  rcid: r1"), 1);
  EXPECT_EQ(fake_.http.requests.size(), 2u);
}

}  // namespace
}  // namespace kelvo::test
