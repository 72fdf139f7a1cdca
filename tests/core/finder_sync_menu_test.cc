#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

#include "agent/notifications_bridge.h"
#include "platform/desktop.h"
#include "tests/support/started_extension.h"
#include "ui/menu_context.h"

namespace kelvo::test {
namespace {

using std::chrono::seconds;

class FinderSyncMenuTest : public StartedExtension {
 protected:
  void Connect() { fake_.transport.Deliver(kConnectionStatusName, {{"status", PropertyList(4)}}); }
  std::optional<FinderMenu> MenuFor(const std::vector<std::string>& items) {
    return extension_->menuForMenuKind(0, items, cancelled_);
  }
  // Asks on a thread of its own, and hands over what it says to the Agent.
  std::future<std::optional<FinderMenu>> AskAside(const std::vector<std::string>& items,
                                                  const std::string& request) {
    auto menu = std::async(std::launch::async, [this, items] { return MenuFor(items); });
    const auto deadline = std::chrono::steady_clock::now() + seconds(30);
    std::vector<std::string> all;
    while (std::find(all.begin(), all.end(), request) == all.end() &&
           std::chrono::steady_clock::now() < deadline) {
      fake_.runLoop.RunPosted();
      all = fake_.transport.ListRequests();
      std::this_thread::yield();
    }
    return menu;
  }

  std::atomic<bool> cancelled_{false};
};

TEST_F(FinderSyncMenuTest, WaitsForTheAgentsListAndNoLonger) {
  Connect();
  std::optional<FinderMenu> menu;
  int asked = 0;
  // On a busy machine a list may come a moment too late, but not always.
  for (; !menu && asked < 20; ++asked) {
    const std::string folder = Home("Work/") + std::to_string(asked);
    auto waiting = AskAside({folder + "/a"}, folder);
    SendList(folder, {{.name = "a", .fileId = "f"}});
    menu = waiting.get();
  }
  ASSERT_TRUE(menu);
  EXPECT_EQ(menu->menu.items().front().title, "Open Kelvo Here");
  EXPECT_FALSE(menu->menu.items().back().separator);
  EXPECT_EQ(LogCount("Timed out requesting menu items"), asked) << "also when it came in time";
  EXPECT_EQ(changedItems_.back(), Home("Work/") + std::to_string(asked - 1) + "/*");

  EXPECT_FALSE(MenuFor({Home("Other/b")})) << "nobody answers";
  EXPECT_FALSE(MenuFor({Home("Work/0/a"), ""}));
  EXPECT_FALSE(MenuFor({}));
}

TEST_F(FinderSyncMenuTest, ACancelledMenuIsNone) {
  Connect();
  SendList(Home("Work"), {{.name = "a"}});
  cancelled_ = true;
  EXPECT_FALSE(MenuFor({Home("Work/a")}));
  EXPECT_FALSE(MenuFor({Home("Other/b")}));
}

TEST_F(FinderSyncMenuTest, ForwardsActionsAsTheyNeed) {
  Connect();
  SendList(Home("Work"), {{.name = "a", .fileId = "f", .lock = 2}});
  std::optional<FinderMenu> menu = MenuFor({Home("Work/a")});
  ASSERT_TRUE(menu);
  std::weak_ptr<KelvoMenuContext> kept = menu->context;
  FakePasteboard pasteboard;
  const auto choose = [&](Selector action) {
    extension_->performAction(action, menu->context, pasteboard, "");
  };
  choose(menu_action::kUnlock);
  EXPECT_TRUE(fake_.transport.Events("unlock").empty()) << "on the main loop";
  choose(menu_action::kOpenKelvoHere);
  choose(menu_action::kAddComment);
  choose(Selector{"somethingElse"});
  EXPECT_EQ(fake_.threads.Waiting(), 2u);
  choose(menu_action::kCopyLink);
  EXPECT_TRUE(pasteboard.text);
  menu.reset();
  EXPECT_FALSE(kept.expired()) << "its actions are not done";
  fake_.runLoop.RunPosted();
  fake_.runLoop.RunPosted();
  EXPECT_EQ(fake_.transport.Events("unlock").size(), 1u);
  fake_.threads.RunAll();
  EXPECT_TRUE(kept.expired());
}

}  // namespace
}  // namespace kelvo::test
