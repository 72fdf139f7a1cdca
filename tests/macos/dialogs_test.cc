#include <optional>

#include "platform/macos/mac_dialogs.h"
#include "platform/macos/mac_run_loop.h"
#include "tests/macos/mac_fixture.h"
#include "tests/macos/stand_ins/screen.h"

namespace kelvo::test {
namespace {

using Outlets = std::map<std::string, std::string>;

class MacDialogsTest : public MacExtension {
 protected:
  void SetUp() override {
    if (!Screen::Open()) GTEST_SKIP() << "no display";
  }
};

TEST_F(MacDialogsTest, ShowsTheContentsAndTellsTheAnswer) {
  MacRunLoop loop;
  MacDialogs dialogs(loop);
  std::optional<DialogAnswer> answer;
  std::unique_ptr<DialogWindow> window;
  const auto closed = [&](const std::optional<DialogAnswer>& given) {
    answer = given;
    window.reset();  // as the core does
  };
  DialogContents contents{.windowTitle = "Kelvo",
                          .image = Home("bundle/locked.icns"),
                          .informationText = "Your file is now locked.",
                          .fileName = "<b>ü.txt",
                          .dontShowAgainCheckBox = DialogCheckBox{"Never again"},
                          .openFileAfterLocking = DialogCheckBox{"Open file", true},
                          .okButton = "OK"};
  window = dialogs.open(contents, closed);
  ASSERT_EQ(Screen::Dialogs().size(), 1u);
  EXPECT_EQ(Screen::Dialogs()[0].outlets, (Outlets{{"informationText", "Your file is now locked."},
                                                   {"fileName", "<b>ü.txt"},
                                                   {"dontShowAgainCheckBox", "[ ] Never again"},
                                                   {"openFileAfterLocking", "[x] Open file"},
                                                   {"okButton", "OK"},
                                                   {"icon", "picture"}}));
  Screen::Press(0, "openFileAfterLocking");
  Screen::Press(0, "dontShowAgainCheckBox");
  contents.openFileAfterLocking->title = "Open files";
  contents.additionalInformation = "Two files";
  window->update(contents);
  const Outlets shown = Screen::Dialogs()[0].outlets;
  EXPECT_EQ(shown.at("openFileAfterLocking"), "[ ] Open files") << "keeps what the user did";
  EXPECT_EQ(shown.at("additionalInformation"), "Two files");
  window->makeKeyAndOrderFront();
  Screen::Press(0, "okButton");
  EXPECT_EQ(answer, (DialogAnswer{true, true, false}));
  EXPECT_TRUE(Screen::Dialogs().empty());

  answer.reset();
  window =
      dialogs.open({.image = kCautionImage, .okButton = "OK", .cancelButton = "Cancel"}, closed);
  Screen::Close(0);
  EXPECT_EQ(answer, DialogAnswer{}) << "the close button is no OK";
  answer.reset();
  window = dialogs.open({.okButton = "OK"}, closed);
  window.reset();
  EXPECT_TRUE(Screen::Dialogs().empty());
  EXPECT_EQ(answer, std::nullopt);
  bool turned = false;
  loop.Post([&] { turned = true; });
  EXPECT_TRUE(Finder::TurnUntil([&] { return turned; })) << "and what was left for later is done";
}

// The whole way: menu, question in a modal session, what goes on meanwhile, answer, request.
TEST_F(MacDialogsTest, AsksBeforeSomebodyElsesLockIsOverridden) {
  StartConfigured();
  Finder::RequestBadge(Home("Work/c"));
  ASSERT_TRUE(Finder::TurnUntil([&] { return Finder::Badge(Home("Work/c")) == "3"; }));
  const std::vector<ShownLine> menu = Finder::Menu({Home("Work/c")});
  const auto unlock = std::find_if(menu.begin(), menu.end(), [](const ShownLine& line) {
    return line.action == "unlockButtonPressed:";
  });
  ASSERT_NE(unlock, menu.end());
  const auto answerWith = [&](const char* button, const std::string& meanwhile) {
    std::vector<ShownDialog> shown;
    bool over = false;
    Screen::InModalSession([&] {
      if (shown.empty()) {
        shown = Screen::Dialogs();
        Finder::RequestBadge(Home(meanwhile));
        return false;
      }
      if (Finder::Badge(Home(meanwhile)) != "2") return false;
      over = true;
      Screen::Press(0, button);
      return true;
    });
    EXPECT_TRUE(Finder::Choose(*unlock));
    EXPECT_TRUE(Finder::TurnUntil([&] { return over && Screen::Dialogs().empty(); }));
    return shown;
  };
  const auto asked = answerWith("cancelButton", "Work/1/b");
  ASSERT_EQ(asked.size(), 1u);
  EXPECT_TRUE(asked[0].isModal);
  EXPECT_EQ(asked[0].outlets.at("okButton"), "Unlock File");
  EXPECT_NE(asked[0].outlets.at("informationText").find("locked by Ann"), std::string::npos);
  answerWith("okButton", "Work/2/b");
  const std::string request = "sync_request unlock " + Home("Work/c");
  EXPECT_TRUE(Finder::TurnUntil([&] { return AgentHeard(request) > 0; }));
  EXPECT_EQ(AgentHeard(request), 1u) << "for OK alone";
  EXPECT_EQ(Screen::ModalCodes(), (std::vector<int>{0, 1}));
}

}  // namespace
}  // namespace kelvo::test
