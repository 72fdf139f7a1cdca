#include "ui/menu_context.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <utility>

#include "agent/notification_module.h"
#include "agent/notifications_bridge.h"
#include "core/finder_configuration.h"
#include "tests/support/started_extension.h"

namespace kelvo::test {
namespace {

constexpr char kLocking[] = "<key>sync_file_locking</key><true/>";
constexpr char kSharing[] = "<key>public_share</key><true/>";
constexpr long kTime = 1'700'000'000;  // 22:13 in UTC

class MenuContextTest : public StartedExtension {
 protected:
  MenuContextTest() {
    setenv("TZ", "UTC", 1);
    std::filesystem::create_directories(Home("Work/folder"));
    SetConnection(4);
  }
  ~MenuContextTest() override { unsetenv("TZ"); }

  void SetConnection(int status) {
    fake_.transport.Deliver(kConnectionStatusName, {{"status", PropertyList(status)}});
  }
  MenuSources Sources() {
    return {cache(),
            *CSyncApi::m_Instance,
            *CNotificationModule::m_Instance,
            *CFinderConfiguration::m_Instance,
            fake_.clock,
            fake_.runLoop,
            fake_.http,
            fake_.desktop,
            fake_.dialogs};
  }
  // A line each: its title, its picture, its action; "-" before what has an action and is disabled.
  static std::string Text(const Menu& menu) {
    std::string text;
    for (const MenuItem& item : menu.items()) {
      if (item.separator) text += "---";
      if (!item.enabled && !item.action.name.empty()) text += "-";
      text += item.title;
      if (!item.image.empty()) text += " <" + item.image + ">";
      if (!item.action.name.empty()) text += " " + std::string(item.action.name);
      text += "\n";
    }
    return text;
  }
  std::string MenuOf(const std::vector<ListRecord>& items) {
    SendList(Home("Work"), items);
    std::vector<std::string> paths;
    for (const ListRecord& item : items) paths.push_back(Home("Work/") + item.name);
    return MenuOfPaths(paths);
  }
  std::string MenuOfPaths(const std::vector<std::string>& paths) {
    Menu menu;
    KelvoMenuContext context(Sources());
    context.setMenu(&menu);
    context.setInsertSeparator(false);
    context.setSelectedItems(paths);
    return Text(menu);
  }
};

TEST_F(MenuContextTest, OneFileHasEveryBlock) {
  const ListRecord file = {.name = "a", .fileId = "f1"};
  const std::string open = "Open Kelvo Here <App> openKelvoHereButtonPressed\n";
  const std::string comment = "Add Comment addCommentButtonPressed\n";
  const std::string create = "Create Public Link createPublicLinkButtonPressed\n";
  const std::string copy = "Copy Team Link copyLinkButtonPressed\n";
  const std::string rest = "Last Modified by: Me\nModify\n";
  EXPECT_EQ(MenuOf({file}), open + comment + copy + "Modify\n");
  EXPECT_EQ(MenuOf({file, {.name = "b", .fileId = "f2"}}), "Modify\n");
  WriteUserInfo(std::string(kLocking) + kSharing);
  Configure();
  std::string lock = "Lock for Me <locked> lockButtonPressed\n";
  EXPECT_EQ(MenuOf({file}), open + comment + create + copy + lock + rest);
  SetConnection(3);
  fake_.defaults.values["kelvo-open-file-after-lock"] = true;
  lock = "-Lock & Open <locked> lockButtonPressed\n";
  EXPECT_EQ(MenuOf({file}), "-" + open + "-" + comment + create + copy + lock + rest);
  fake_.transport.DeliverEvent(
      "sync_response", {{"command", "sync-lists"},
                        {"list-id", "publicLinks"},
                        {"list", PropertyList(StringText(Home("Work/a")) + "1:t1:2:3:0:0:1:x4:")}});
  EXPECT_EQ(MenuOf({file}), "-" + open + "-" + comment +
                                "Edit Public Link createPublicLinkButtonPressed\n" +
                                "Copy Public Link copyLinkButtonPressed\n" + lock + rest);
  SetConnection(1);
  EXPECT_EQ(MenuOf({file}), "");
}

TEST_F(MenuContextTest, LocksAndPermissions) {
  const std::string lock = "Lock for Me <locked> lockButtonPressed\n";
  const std::string me = "Last Modified by: Me\n";
  const std::string unlock = "Unlock unlockButtonPressed\n";
  const std::string pending = "-Unlock Pending... unlockButtonPressed\n";
  const std::string several = "Locked by Multiple Users\n";
  const std::string fix = "Fix Permission Violations <permissionViolation> fixViolationsPressed\n";
  const std::string byEve = "Locked by: eve at 11/14/23 22:13\n";
  const std::string byMe = "Locked by: Me at 11/14/23 22:13\n";
  const std::string modify = "Modify\n";
  const ListRecord free = {.name = "a"};
  const ListRecord folder = {.name = "folder", .type = 2};
  const auto may = [](int permissions) {
    return ListRecord{.name = std::to_string(permissions), .permissions = permissions};
  };
  const auto held = [](const char* name, int kind, const char* holder = "") {
    return ListRecord{.name = name, .lock = kind, .lockHolder = holder, .lockTime = kTime};
  };
  ListRecord heldInPart = held("a", 1, "eve");
  heldInPart.permissions = 60;
  const struct {
    std::vector<ListRecord> items;
    std::string menu;
  } kRows[] = {
      {{{.name = "a", .modifiedBy = "%@"}}, lock + "Last Modified by: %@\n" + modify},
      {{may(40)}, me + "Modify - (Selective Sync)\n"},
      {{may(1063)}, me + "Value: 1063\n"},
      {{may(0)}, me},
      {{may(5)}, me + "Restricted List - (Selective Sync)\n"},
      {{may(70)}, me + "Project Owner - (Selective Sync)\n"},
      {{may(1074), may(1064)}, lock + me},
      {{may(1124), may(1064), may(1054)}, me},
      {{free, {.name = "b", .denied = 2}}, me + modify + fix},
      {{folder}, modify},
      {{free, folder}, modify},
      {{held("a", 1, "eve"), may(1064)}, modify},
      {{free, held("b", 2)}, modify},
      {{held("a", 1, "eve")}, unlock + byEve + modify},
      {{heldInPart}, byEve + "Full Access - (Selective Sync)\n"},
      {{held("a", 1)}, modify},
      {{held("a", 1, "eve"), held("b", 1, "eve")}, "-" + unlock + byEve + modify},
      {{held("a", 1, "eve"), held("b", 1, "bob")}, several + modify},
      {{held("a", 1, "eve"), held("b", 1, "bob"), held("c", 1, "eve")},
       "-" + unlock + byEve + modify},
      {{held("a", 2), held("b", 2)}, unlock + byMe + modify},
      {{held("a", 2), held("b", 1, "eve")}, several + modify},
      {{held("a", 3, "eve")}, pending + byEve + modify},
      {{held("a", 3)}, pending + modify},
      {{held("a", 3, "eve"), held("b", 9, "eve")}, "-" + unlock + byEve + modify},
      {{held("a", 9, "eve"), held("b", 9, "eve")}, unlock + byEve + modify},
  };
  WriteUserInfo(kLocking);
  Configure();
  for (const auto& row : kRows) EXPECT_EQ(MenuOf(row.items), row.menu);
  SetConnection(2);
  EXPECT_EQ(MenuOf({free}), "-" + lock + me + modify);
  EXPECT_EQ(MenuOf({held("a", 2)}), "-" + unlock + byMe + modify);
  EXPECT_EQ(MenuOf({{.name = "b", .denied = 2}}), me + modify + "-" + fix);
}

TEST_F(MenuContextTest, NothingForWhatIsNotInAProject) {
  const std::string known = Home("Work/a");
  SendList(Home("Work"), {{.name = "a"}});
  EXPECT_EQ(MenuOfPaths({}), "");
  EXPECT_EQ(MenuOfPaths({known, ""}), "");
  EXPECT_EQ(MenuOfPaths({"/elsewhere/b", known}), "");
  EXPECT_EQ(MenuOfPaths({known + std::string("\0b", 2)}), "");
}

TEST_F(MenuContextTest, FillsEachMenuOnceBehindWhatIsThere) {
  const std::vector<std::string> items = {Home("Work/a"), Home("Other/b")};
  SendList(Home("Work"), {{.name = "a", .permissions = 1124}});
  Menu menu;
  menu.insertItem({.title = "Theirs"}, 0);
  KelvoMenuContext context(Sources());
  context.setSelectedItems(items);  // no menu
  context.setMenu(&menu);
  context.insertMenus();
  EXPECT_FALSE(context.isInjected()) << "an item is not known yet";
  SendList(Home("Other"), {{.name = "b", .permissions = 1124}});
  context.insertMenus();
  EXPECT_EQ(Text(menu), "Theirs\nProject Owner\n---\n");
  context.setSelectedItems(items);
  EXPECT_EQ(menu.numberOfItems(), 3u);
  EXPECT_FALSE(context.insertMenuItemWithTitle("Told", "", {}, true)->enabled);
  EXPECT_EQ(context.insertMenuItemWithTitle("", "", menu_action::kLock, true), nullptr);
  EXPECT_EQ(LogCount("ERROR: empty title for menu item"), 1);
  SendList(Home("Work"), {});
  EXPECT_FALSE(context.pathsAreInProject()) << "known once, and no longer";
}

TEST_F(MenuContextTest, WebCommandUnderWayDisablesTheWebLines) {
  SendList(Home("Work"), {{.name = "a", .fileId = "f1"}});
  KelvoMenuContext context(Sources());
  context.setPendingWebCommand(fake_.clock.Now() + 10);
  for (const bool enabled : {false, true}) {
    Menu menu;
    context.setMenu(&menu);
    context.setSelectedItems({Home("Work/a")});
    EXPECT_EQ(menu.items()[0].enabled, enabled);
    EXPECT_EQ(menu.items()[1].enabled, enabled);
    EXPECT_TRUE(menu.items()[2].enabled);
    fake_.clock.Turn(std::chrono::seconds(10));
  }
}

}  // namespace
}  // namespace kelvo::test
