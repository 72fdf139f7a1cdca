#include "platform/linux/helper_dialogs.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/unique_fd.h"
#include "platform/linux/glib_run_loop.h"
#include "platform/linux/helper_pasteboard.h"
#include "tests/support/fixture.h"
#include "tests/support/main_context.h"
#include "ui/confirmation_dialog_controller.h"

namespace kelvo::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr char kHelper[] = KELVO_SCRIPTED_DIALOG_HELPER;

class HelperDialogsTest : public Fixture {
 protected:
  static DialogContents Contents(const std::string& steps, bool isQuestion = false) {
    DialogContents contents{.windowTitle = "W",
                            .informationText = steps,
                            .additionalInformation = "more <b>",
                            .fileName = "a&b",
                            .openFileAfterLocking = DialogCheckBox{"Open", true}};
    if (isQuestion) contents.cancelButton = "Cancel";
    return contents;
  }
  static std::string Text(const std::optional<DialogAnswer>& answer) {
    if (!answer) return "lost";
    return std::string(answer->ok ? "ok" : "cancel") + (answer->dontShowAgain ? " never" : "") +
           (answer->openFileAfterLocking ? " open" : "");
  }
  // The answer of a dialog that is destroyed in it.
  static std::string Answer(Dialogs& dialogs, const DialogContents& contents) {
    std::string text;
    std::unique_ptr<DialogWindow> window;
    window = dialogs.open(contents, [&](const std::optional<DialogAnswer>& answer) {
      text += Text(answer);
      window.reset();
    });
    EXPECT_TRUE(TurnUntil([&] { return window == nullptr; }, 60)) << contents.informationText;
    return text;
  }

  HelperDialogs dialogs_{g_main_context_default(), nullptr, {kHelper, "/x.ui"}};
};

TEST_F(HelperDialogsTest, EachEndOfAHelperAnswersOnce) {
  const struct {
    const char* steps;
    const char* message;  // the answer of a message
    const char* question;
    const char* log;
  } rows[] = {
      {"shown close", "ok never", "ok never", ""},
      {"close garbage", "ok never", "ok never", ""},
      {"shown die", "lost", "lost", "the dialog helper has ended"},
      {"shown garbage", "lost", "lost", "the dialog helper broke the framing"},
      {"shown no-archive", "lost", "lost", "sent what cannot be read"},
      {"flood", "lost", "lost", "sent an unexpected message: shown"},
      {"die", "ok open", "cancel open", "No window for a message: die a&b more <b>"},
      {"failed", "ok open", "cancel open", "the dialog helper failed: "},
      {"huge", "ok open", "cancel open", "the dialog helper broke the framing"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.message, Answer(dialogs_, Contents(row.steps))) << row.steps;
    EXPECT_EQ(row.question, Answer(dialogs_, Contents(row.steps, true))) << row.steps;
    EXPECT_TRUE(*row.log == '\0' || LogCount(row.log) >= 1) << row.steps;
  }
  EXPECT_EQ(1, LogCount("No window for a question, taken as cancelled: die a&b more <b>"));
  HelperDialogs absent(g_main_context_default(), nullptr, {Home("absent"), ""});
  EXPECT_EQ("ok open", Answer(absent, Contents("x")));
  EXPECT_EQ(1, LogCount("cannot start " + Home("absent")));
  HelperDialogs impatient(g_main_context_default(), nullptr, {kHelper, "/x.ui", milliseconds(50)});
  EXPECT_EQ("cancel open", Answer(impatient, Contents("stop", true)));
}

TEST_F(HelperDialogsTest, AHelperIsGivenItsChannelAndATokenForOneWindow) {
  const UniqueFd inheritable(open("/dev/null", O_RDONLY));
  setenv("XDG_ACTIVATION_TOKEN", "the extension's own", 1);
  dialogs_.setActivationToken("T");
  for (int i = 0; i < 2; ++i) Answer(dialogs_, Contents("failed"));
  unsetenv("XDG_ACTIVATION_TOKEN");
  EXPECT_EQ(1, LogCount("failed: . .. 0 1 2 3 DES=T XDG=T"));
  // A new token in each turn, until the window is there to be brought to the front.
  HelperDialogs impatient(g_main_context_default(), nullptr,
                          {kHelper, "/x.ui", seconds(30), milliseconds(100)});
  for (const char* steps : {"shown front", "shown stop"}) {
    std::string end;
    const auto window = impatient.open(
        Contents(steps), [&](const std::optional<DialogAnswer>& answer) { end = Text(answer); });
    EXPECT_TRUE(TurnUntil([&] {
      impatient.setActivationToken("F");
      window->makeKeyAndOrderFront();
      return !end.empty();
    }));
    EXPECT_EQ("lost", end) << steps;
  }
  Answer(impatient, Contents("failed"));
  EXPECT_EQ(1, LogCount("failed: front F"));
  EXPECT_EQ(1, LogCount("the dialog helper hangs"));
  EXPECT_EQ(3, LogCount("failed: . .. 0 1 2 3 "));
  EXPECT_EQ(1, LogCount("DES=")) << "a token is used once";
}

TEST_F(HelperDialogsTest, WindowsLiveSideBySideAndManyUpdatesAreFew) {
  std::string answers;
  const auto open = [&](const char* steps) {
    return dialogs_.open(Contents(steps),
                         [&answers, steps](const std::optional<DialogAnswer>& answer) {
                           answers += steps + (": " + Text(answer));
                         });
  };
  std::unique_ptr<DialogWindow> stuck = open("shown stop");
  const std::unique_ptr<DialogWindow> updated = open("shown updated close");
  for (DialogWindow* window : {stuck.get(), updated.get()}) {
    DialogContents changed = Contents("");
    for (int i = 0; i < 20'000; ++i) window->update(changed);
    changed.fileName = "last";
    window->update(changed);
  }
  EXPECT_TRUE(TurnUntil([&] { return !answers.empty(); }, 60));
  stuck.reset();
  updated->update(Contents("too late"));
  EXPECT_EQ("shown updated close: ok never", answers);
}

// The owner's name, which stands in the title line, says what the helper does.
TEST_F(HelperDialogsTest, AQuestionTurnsTheLoopFromInsideATaskUntilItIsAnsweredOrTheLoopEnds) {
  GlibRunLoop loop(nullptr);
  const DialogSources sources{dialogs_, loop};
  KelvoConfirmationDialogController::SetSources(&sources);
  std::string answers;
  const auto ask = [&](const char* owner) {
    loop.Post([&answers, owner] {
      const bool answer =
          KelvoConfirmationDialogController::showUnlockOverrideForFile("/w/a", owner, "");
      answers += answer ? "yes " : "no ";
    });
  };
  ask("shown updated");
  // Not before its window is there can it come to the front; this helper cancels then.
  std::function<void()> askAgain = [&] {
    if (!answers.empty()) return;
    EXPECT_FALSE(KelvoConfirmationDialogController::showUnlockOverrideForFile("/w/b", "", ""));
    loop.After(milliseconds(10), askAgain);
  };
  loop.Post(askAgain);
  EXPECT_TRUE(TurnUntil([&] { return answers == "no "; }));
  ask("shown close");
  EXPECT_TRUE(TurnUntil([&] { return answers == "no yes "; }));
  ask("shown");
  loop.Post([&] { loop.Quit(); });
  loop.Run();
  EXPECT_EQ("no yes no ", answers);
}

TEST_F(HelperDialogsTest, AMessageWithoutAWindowIsANotificationInPlainText) {
  const GObjectPtr<GTestDBus> daemon(g_test_dbus_new(G_TEST_DBUS_NONE));
  g_test_dbus_up(daemon.get());
  const GObjectPtr<GDBusConnection> bus(g_dbus_connection_new_for_address_sync(
      g_test_dbus_get_bus_address(daemon.get()),
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
      nullptr, nullptr, nullptr));
  ASSERT_NE(nullptr, bus);
  HelperDialogs dialogs(g_main_context_default(), bus.get(), {kHelper, "/x.ui"});
  Answer(dialogs, Contents("die"));
  EXPECT_TRUE(TurnUntil([&] { return LogCount("no desktop notification: ") == 1; }, 60));

  std::vector<std::string> notified;
  const GLibPtr<GDBusNodeInfo> node(g_dbus_node_info_new_for_xml(
      "<node><interface name='org.freedesktop.Notifications'><method name='Notify'>"
      "<arg type='s'/><arg type='u'/><arg type='s'/><arg type='s'/><arg type='s'/>"
      "<arg type='as'/><arg type='a{sv}'/><arg type='i'/><arg type='u' direction='out'/>"
      "</method><method name='GetCapabilities'><arg type='as' direction='out'/></method>"
      "</interface></node>",
      nullptr));
  const GDBusInterfaceVTable functions = {
      [](GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar* member,
         GVariant* values, GDBusMethodInvocation* invocation, gpointer data) {
        auto* texts = static_cast<std::vector<std::string>*>(data);
        if (member == std::string("GetCapabilities")) {
          return g_dbus_method_invocation_return_value(
              invocation, texts->empty() ? g_variant_new_parsed("(@as [],)")
                                         : g_variant_new_parsed("(['body', 'body-markup'],)"));
        }
        texts->push_back(GLibPtr<char>(g_variant_print(values, FALSE)).get());
        g_dbus_method_invocation_return_value(invocation, g_variant_new("(u)", 1u));
      },
      nullptr,
      nullptr,
      {}};
  g_dbus_connection_register_object(bus.get(), "/org/freedesktop/Notifications",
                                    node->interfaces[0], &functions, &notified, nullptr, nullptr);
  g_bus_own_name_on_connection(bus.get(), "org.freedesktop.Notifications",
                               G_BUS_NAME_OWNER_FLAGS_NONE, nullptr, nullptr, nullptr, nullptr);
  Answer(dialogs, Contents("die", true));
  for (std::size_t count = 1; count <= 2; ++count) {
    Answer(dialogs, Contents("die"));
    EXPECT_TRUE(TurnUntil([&] { return notified.size() == count; }, 60));
  }
  const std::string head = "('W', 0, 'dialog-information', 'die', ";
  EXPECT_EQ((std::vector{head + "'a&b\\nmore <b>', [], {}, -1)",
                         head + "'a&amp;b\\nmore &lt;b&gt;', [], {}, -1)"}),
            notified);
  g_dbus_connection_close_sync(bus.get(), nullptr, nullptr);
  g_test_dbus_down(daemon.get());
}

TEST_F(HelperDialogsTest, TheClipboardIsWrittenOnlyWhenTheHelperSaysSo) {
  HelperPasteboard pasteboard(kHelper, seconds(30));
  EXPECT_TRUE(pasteboard.writeObjects("written"));
  for (const char* steps : {"failed", "die", "garbage", "close"}) {
    EXPECT_FALSE(pasteboard.writeObjects(steps)) << steps;
  }
  EXPECT_FALSE(HelperPasteboard(kHelper, milliseconds(100)).writeObjects("stop"));
  for (const char* why : {"failed: ", "has ended", "a message of", "closed", "no answer in time"}) {
    EXPECT_EQ(1, LogCount(why)) << why;
  }
}

}  // namespace
}  // namespace kelvo::test
