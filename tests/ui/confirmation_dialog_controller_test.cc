#include "ui/confirmation_dialog_controller.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "agent/sync_api.h"
#include "settings/plist_user_defaults.h"
#include "tests/support/started_extension.h"
#include "ui/alert.h"
#include "ui/display_text.h"
#include "ui/notification_preferences.h"

namespace kelvo::test {
namespace {

using Controller = KelvoConfirmationDialogController;

class KelvoConfirmationDialogControllerTest : public StartedExtension {
 protected:
  // What the Agent answers to a lock or unlock that this process asked for.
  void Respond(const std::string& command, const std::string& path, const std::string& result) {
    CSyncApi::m_Instance.load()->RequestLock(path, 0);
    fake_.transport.DeliverEvent("sync_response",
                                 {{"command", command}, {"path", path}, {"result", result}});
  }
  // The one open dialog, its parts divided by "/".
  std::string Shown() {
    const std::vector<DialogContents> open = fake_.dialogs.Open();
    if (open.size() != 1) return std::to_string(open.size()) + " dialogs";
    const DialogContents& shown = open[0];
    std::string text =
        shown.informationText + "/" + shown.additionalInformation + "/" + shown.fileName;
    for (const auto& box : {shown.dontShowAgainCheckBox, shown.openFileAfterLocking}) {
      if (box) text += (box->isOn ? "/x " : "/o ") + box->title;
    }
    return text + "/" + shown.okButton + (shown.cancelButton ? "/" + *shown.cancelButton : "");
  }
  std::string Opened() {
    std::string paths;
    for (const auto& event : fake_.transport.Events("open_file")) {
      paths += FindValue(event, "path")->ToText().value_or("") + ";";
    }
    fake_.transport.sent.clear();
    return paths;
  }
  bool Ask() { return Controller::showUnlockOverrideForFile("/w/a", "Ann %@", "May 01, 2024"); }
};

// The choices cannot be written, and nobody waits for that.
TEST_F(KelvoConfirmationDialogControllerTest, LocksCollectInOneDialogAndOpenTheirFilesInOrder) {
  WriteFile(Home("file"), "so that there is no folder");
  fake_.settingsQueue.Hold(true);
  PlistUserDefaults defaults(Home("file/defaults.plist"), fake_.settingsQueue);
  SetNotificationPreferences(&defaults);
  Respond("lock", "/w/a %d", "0");
  EXPECT_EQ(
      "Your file is now locked./When done working with the file, don't forget to unlock it!/a %d"
      "/o Don't show this message again/o Open file after locking/OK",
      Shown());
  Respond("lock", "/w/b", "0");
  EXPECT_EQ("a %d and b", fake_.dialogs.Open().at(0).fileName);
  Respond("lock", "/w/c", "0");
  EXPECT_EQ(
      "Your files are now locked./When done working with files, don't forget to unlock them!"
      "/a %d and 2 other files/o Don't show this message again/o Open files after locking/OK",
      Shown());
  fake_.dialogs.Close(0, {.ok = true, .dontShowAgain = true, .openFileAfterLocking = true});
  EXPECT_EQ("/w/a %d;/w/b;/w/c;", Opened());
  EXPECT_FALSE(GetShowLockNotification());

  fake_.settingsQueue.RunAll();
  Respond("lock", "/w/d", "0");
  EXPECT_EQ("0 dialogs", Shown());
  EXPECT_EQ("/w/d;", Opened()) << "without a dialog, too";

  SetShowLockNotification(true);
  Respond("lock", "/w/e", "0");
  EXPECT_TRUE(fake_.dialogs.Open().at(0).openFileAfterLocking->isOn);
  fake_.dialogs.Close(0, {});
  EXPECT_EQ("", Opened());
  EXPECT_FALSE(GetOpenFileAfterLock()) << "the box of a window that is simply closed counts, too";

  SetOpenFileAfterLock(true);
  Respond("lock", "/w/f", "0");
  fake_.dialogs.Lose(0);
  EXPECT_EQ("0 dialogs", Shown());
  EXPECT_EQ("", Opened()) << "a window that is lost tells no choice";
  EXPECT_TRUE(GetOpenFileAfterLock());
  SetNotificationPreferences(nullptr);
}

TEST_F(KelvoConfirmationDialogControllerTest, UnlocksAndErrorsHaveDialogsOfTheirOwn) {
  Respond("unlock", "/w/a", "0");
  EXPECT_EQ("Your file is now unlocked.//a/o Don't show this message again/OK", Shown());
  Respond("unlock", "/w/b/", "0");
  EXPECT_EQ("Your files are now unlocked.//a and b/o Don't show this message again/OK", Shown());
  fake_.dialogs.Close(0, {.dontShowAgain = true, .openFileAfterLocking = true});
  EXPECT_TRUE(fake_.defaults.values["kelvo-dont-show-unlock"]);
  EXPECT_FALSE(GetOpenFileAfterLock());

  const std::pair<int, const char*> rows[] = {{0, "Unspecified error"}, {-7, "Unspecified error"},
                                              {1, "Operation failed"},  {2, "Not found"},
                                              {3, "Invalid item"},      {4, "Rejected"}};
  for (const auto& [code, text] : rows) {
    for (int i = 0; i < 2; ++i) Controller::showError(code, "/w/a");
    EXPECT_EQ(std::string("Error occured: ") + text +
                  "/If you are unsure why you got this message, please contact technical "
                  "support/a and a/OK",
              Shown());
    fake_.dialogs.Close(0, {.ok = true, .dontShowAgain = true});
  }
  EXPECT_TRUE(GetShowLockNotification());

  for (const char* code : {"3", "1", "7"}) Respond("lock", "/w/a", code);
  EXPECT_EQ("2 dialogs", Shown());
  EXPECT_EQ(1, LogCount("Can't show error dialog for error code: 7"));
}

TEST_F(KelvoConfirmationDialogControllerTest, ResultAndPreferencesDecideWhatIsShown) {
  const std::string error = "Error occured: ";
  const struct {
    const char* command;
    const char* result;
    bool showUnlock, showLock, open;
    std::string shown;  // its beginning
    const char* opened;
  } rows[] = {
      {"lock", "0", true, true, true, "Your file is now locked.", ""},
      {"lock", "abc", false, true, false, "Your file is now locked.", ""},
      {"lock", "0", true, false, true, "0 dialogs", "/w/ü;"},
      {"lock", "0", true, false, false, "0 dialogs", ""},
      {"unlock", "0", true, false, true, "Your file is now unlocked.", ""},
      {"unlock", "0", false, true, true, "0 dialogs", ""},
      {"lock", "4", false, false, true, error + "Rejected", ""},
      {"unlock", " -3x", false, true, false, error + "Unspecified error", ""},
      {"unlock", "4294967296", true, true, false, "0 dialogs", ""},
  };
  for (const auto& row : rows) {
    SetShowUnlockNotification(row.showUnlock);
    SetShowLockNotification(row.showLock);
    SetOpenFileAfterLock(row.open);
    Respond(row.command, "/w/ü", row.result);
    EXPECT_TRUE(Shown().starts_with(row.shown)) << Shown() << " for " << row.shown;
    EXPECT_EQ(row.opened, Opened());
    if (!fake_.dialogs.Open().empty()) fake_.dialogs.Close(0, {});
  }
  // A number that does not fit is a failure, not the success of its low 32 bits.
  EXPECT_EQ(1, LogCount("Can't show error dialog for error code: 2147483647"));
}

TEST_F(KelvoConfirmationDialogControllerTest, OnlyThisInstancesCommandsSpeakAndOnlyOnce) {
  const PropertyList::Dictionary done = {{"command", "unlock"}, {"path", "/w/a"}, {"result", "0"}};
  const PropertyList::Dictionary others[] = {
      {{"command", "status-list"}, {"path", "/w/a"}, {"result", "0"}},
      {{"command", "unlock"}, {"path", "/w/b"}, {"result", "0"}},
      {{"command", "unlock"}, {"path", "/w/a"}},
      {{"command", "unlock"}, {"result", "0"}},
  };
  CSyncApi::m_Instance.load()->RequestUnlock("/w/a");
  for (const auto& other : others) fake_.transport.DeliverEvent("sync_response", other);
  EXPECT_EQ("0 dialogs", Shown());
  fake_.transport.DeliverEvent("sync_response", done);
  EXPECT_EQ("Your file is now unlocked.//a/o Don't show this message again/OK", Shown());
  fake_.dialogs.Close(0, {});
  fake_.transport.DeliverEvent("sync_response", done);
  EXPECT_EQ("0 dialogs", Shown());
}

TEST_F(KelvoConfirmationDialogControllerTest, AQuestionIsAnsweredOnceAndHoldsOneWindow) {
  for (const bool ok : {true, false}) {
    fake_.runLoop.Post([&] {
      EXPECT_EQ(
          "This file was locked by Ann %@\non May 01, 2024./Are you sure you want to unlock it?"
          "/a/Unlock File/Cancel",
          Shown());
      fake_.dialogs.raised = 0;
      EXPECT_FALSE(Ask());
      EXPECT_EQ(1, fake_.dialogs.raised);
      Controller::showLockForFile("/w/b");
      EXPECT_EQ("2 dialogs", Shown());
      fake_.dialogs.Close(1, {});
      fake_.dialogs.Close(0, {.ok = ok, .dontShowAgain = true, .openFileAfterLocking = true});
    });
    EXPECT_EQ(ok, Ask());
  }
  EXPECT_EQ("", Opened());
  fake_.runLoop.Post([&] { fake_.dialogs.Lose(0); });
  EXPECT_FALSE(Ask());
  EXPECT_EQ("0 dialogs", Shown());
  EXPECT_EQ(1, LogCount("A dialog was lost, nothing is taken from it: a"));
  EXPECT_FALSE(Ask()) << "the loop ends first";
  EXPECT_EQ("0 dialogs", Shown());
  fake_.runLoop.Post([] { Controller::SetSources(nullptr); });
  EXPECT_FALSE(Ask());
  EXPECT_EQ("0 dialogs", Shown());
}

TEST_F(KelvoConfirmationDialogControllerTest, AFurtherAlertTakesThePlaceOfTheFirst) {
  for (int i = 0; i < 2; ++i) {
    ShowAlert(fake_.dialogs, "Title", "first", "Fine");
    ShowAlert(fake_.dialogs, "Title", "second\nline\a", "Fine");
    EXPECT_EQ("Title/second\nline\uFFFD//Fine", Shown());
    fake_.dialogs.Close(0, {.ok = true});
  }
  ShowAlert(fake_.dialogs, "Title", "open at the end", "Fine");
}

TEST(DisplayTextTest, NamesFitInALineAndInASentence) {
  const std::string x(5000, 'x');
  const struct {
    std::string given, line, inSentence;
  } rows[] = {
      {"<b>%s & é", "<b>%s & é", "<b>%s & é"},
      {"a\nb\t\x7f\u0085", "a\uFFFDb\uFFFD\uFFFD\uFFFD", "a\uFFFDb\uFFFD\uFFFD\uFFFD"},
      {std::string("\xff\u20ac\0b", 6), "\uFFFD\u20ac", "\uFFFD\u20ac"},
      {x + "\U0001F600", x.substr(0, 40) + "…" + x.substr(0, 38) + "\U0001F600",
       x.substr(0, 40) + "…" + x.substr(0, 38) + "\U0001F600"},
      {"a\u061C\u200E\u200F", "a\uFFFD\uFFFD\uFFFD", "a\uFFFD\uFFFD\uFFFD"},
      {"\u05d0\u202E\u2069", "\u05d0\uFFFD\uFFFD", "\u2068\u05d0\uFFFD\uFFFD\u2069"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.line, DisplayText(row.given));
    EXPECT_EQ(row.inSentence, DisplayTextInSentence(row.given));
  }
}

}  // namespace
}  // namespace kelvo::test
