// The client over a real bus, against an extension that a test scripts.
#include "hosts/client/finder_client.h"

#include <gio/gio.h>
#include <glib/gstdio.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/glib_ptr.h"
#include "platform/linux/session_bus.h"
#include "tests/hosts/scripted_extension.h"

namespace kelvo {
namespace {

class FinderClientTest : public ::testing::Test {
 protected:
  FinderClientTest() {
    const GLibPtr<char> folder(g_dir_make_tmp("kelvo-XXXXXX", nullptr));
    folder_ = folder.get();
    const std::string address = "unix:path=" + folder_ + "/bus";
    g_setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), TRUE);
    ::testing::internal::CaptureStderr();
    ::testing::internal::CaptureStdout();
    MakeClient(MenuWaiting::kNever);
  }
  ~FinderClientTest() override {
    client_.reset();
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
    for (const char* name : {"bus", "bus.conf", "starts", "start", "extension.service"}) {
      g_unlink((folder_ + "/" + name).c_str());
    }
    g_rmdir(folder_.c_str());
  }

  void StartBus() {
    bus_ = std::make_unique<Bus>(folder_);
    ASSERT_TRUE(bus_->Listens()) << "dbus-daemon is needed";
  }
  // As a file manager that shows the file and asks again when told to.
  void Show(const std::string& path) { client_->Retain(client_->Lookup(path).item); }
  std::string Icon(const std::string& path) {
    return client_->IconName(client_->Lookup(path).badge);
  }
  bool HasIcon(const std::string& path, const std::string& icon) {
    return TurnUntil([&] { return Icon(path) == icon; });
  }

  void MakeClient(MenuWaiting waiting) {
    client_ = std::make_unique<FinderClient>(
        [this](const std::string& folder, const std::string& name) {
          changed_.push_back(folder + "/" + name);
        },
        MenuHost{waiting, [this] { ++menusChanged_; },
                 [this](const std::string& text) { return !(clipboard_ = text).empty(); }});
  }
  // As soon as the extension's folders are known.
  bool HasMenus() {
    Show("/w/a");
    return TurnUntil([&] { return client_->HasMenus("/w/a"); });
  }
  // The titles of the file's menu now.
  std::string Menu(const std::string& path) {
    const FileMenuPtr menu = client_->MenuFor({path});
    std::string titles;
    if (menu) {
      for (const FileMenuLine& line : menu->lines) titles += line.title + ";";
    }
    return titles;
  }

  std::string folder_;
  std::unique_ptr<Bus> bus_;
  Strings changed_;
  int menusChanged_ = 0;
  std::string clipboard_;
  std::unique_ptr<FinderClient> client_;
};

TEST_F(FinderClientTest, DescriptionsComeWithTheBadgesAndFollowTheirSignal) {
  StartBus();
  const auto owner = [&](const char* path) { return client_->Lookup(path).description->lockOwner; };
  auto extension =
      std::make_unique<ScriptedExtension>(std::map<std::string, char>{{"a", '1'}}, true, true);
  extension->owners = {{"a", "Zo\u00eb"}};
  for (const char* path : {"/w/a", "/w/b"}) Show(path);
  ASSERT_TRUE(TurnUntil([&] { return owner("/w/a") == "Zo\u00eb"; }));
  EXPECT_EQ(owner("/w/b"), "");
  EXPECT_EQ(extension->calls,
            (Strings{"BeginObservingDirectory /w", "RequestBadges /w", "DescribeItems /w"}));

  extension->owners = {{"a", "Bob"}, {"b", "Bob"}};
  changed_.clear();
  extension->SignalDescriptions("/w", "");
  ASSERT_TRUE(TurnUntil([&] { return changed_.size() == 2; }));
  EXPECT_EQ(owner("/w/a") + owner("/w/b"), "BobBob");

  extension.reset();
  extension = std::make_unique<ScriptedExtension>(std::map<std::string, char>{});  // an older one
  ASSERT_TRUE(TurnUntil([&] { return owner("/w/a").empty(); }));
  EXPECT_EQ(Icon("/w/a"), "emblem-one") << "which stays for the grace: no text waits for that";
}

TEST_F(FinderClientTest, OversizedDescriptionsAreRefusedAndLongTextsCut) {
  StartBus();
  const auto owner = [&] { return client_->Lookup("/w/caf\xe9").description->lockOwner; };
  ScriptedExtension extension({}, /*agentConnected=*/false, /*describes=*/true);
  const std::string letter = "\u00eb";
  std::string whole = "x", cut = "x";
  for (int i = 0; i < 1000; ++i) whole += letter;
  for (int i = 0; i < 511; ++i) cut += letter;
  extension.owners = {{"caf\xe9", whole}};  // names need not be UTF-8
  extension.spareDescriptions = 2;
  Show("/w/caf\xe9");
  ASSERT_TRUE(TurnUntil([&] { return extension.Count("DescribeItems /w") == 1; }));
  extension.SignalBadges("/w", std::string("1caf\xe9\0", 6));  // behind the answer
  ASSERT_TRUE(HasIcon("/w/caf\xe9", "emblem-one"));
  EXPECT_EQ(owner(), "");
  extension.spareDescriptions = 1;
  extension.SignalAgentConnected();
  ASSERT_TRUE(TurnUntil([&] { return !owner().empty(); }));
  EXPECT_EQ(owner(), cut);
}

TEST_F(FinderClientTest, AFolderThatIsWatchedWhilePropertiesAreReadIsNotMissed) {
  StartBus();
  ScriptedExtension extension({{"a", '1'}});
  extension.directory = "/elsewhere";
  extension.whileRead = [&] { extension.SignalDirectory("/w"); };
  Show("/w/a");
  EXPECT_TRUE(HasIcon("/w/a", "emblem-one"));
}

TEST_F(FinderClientTest, AnExtensionThatCannotStartIsNotStartedInALoop) {
  const std::string script = "#!/bin/sh\necho x >>" + folder_ + "/starts\nexit 1\n";
  ASSERT_TRUE(g_file_set_contents((folder_ + "/start").c_str(), script.c_str(), -1, nullptr));
  ASSERT_EQ(g_chmod((folder_ + "/start").c_str(), 0700), 0);
  const std::string service =
      std::string("[D-BUS Service]\nName=") + kName + "\nExec=" + folder_ + "/start\n";
  ASSERT_TRUE(
      g_file_set_contents((folder_ + "/extension.service").c_str(), service.c_str(), -1, nullptr));
  StartBus();
  const auto starts = [&]() -> std::size_t {
    char* text = nullptr;
    gsize size = 0;
    if (!g_file_get_contents((folder_ + "/starts").c_str(), &text, &size, nullptr)) return 0;
    const GLibPtr<char> owner(text);
    return size / 2;
  };
  Show("/w/a");
  const gint64 begin = g_get_monotonic_time();
  EXPECT_TRUE(TurnUntil([&] {
    Show("/w/" + std::to_string(g_get_monotonic_time()));  // the file manager keeps asking
    return starts() == 3;
  }));
  EXPECT_GE(g_get_monotonic_time() - begin, 2 * G_USEC_PER_SEC) << "1 s and 2 s, to the second";
  EXPECT_EQ(Icon("/w/a"), "");
}

TEST_F(FinderClientTest, ABusAndAnExtensionMayComeLateAndGo) {
  const auto start = [](char badge) {
    return std::make_unique<ScriptedExtension>(std::map<std::string, char>{{"a", badge}});
  };
  Show("/w/a");
  EXPECT_EQ(Icon("/w/a"), "");
  StartBus();
  auto extension = start('1');
  EXPECT_TRUE(HasIcon("/w/a", "emblem-one"));
  extension.reset();
  extension = start('2');
  EXPECT_TRUE(HasIcon("/w/a", "emblem-two"));
  EXPECT_EQ(extension->calls, (Strings{"BeginObservingDirectory /w", "RequestBadges /w"}));

  bus_.reset();  // this process lives on
  EXPECT_EQ(Icon("/w/a"), "emblem-two");
  extension.reset();
  StartBus();
  extension = start('1');
  EXPECT_TRUE(HasIcon("/w/a", "emblem-one"));
}

TEST_F(FinderClientTest, MenusAreAskedForInTheBackgroundAndOnlyNewsAreTold) {
  StartBus();
  EXPECT_FALSE(client_->HasMenus("/w/a"));
  ScriptedExtension extension({});
  ASSERT_TRUE(HasMenus());
  EXPECT_EQ(menusChanged_, 1) << "what was refused may be asked for now";
  EXPECT_TRUE(client_->HasMenus("/w"));
  EXPECT_FALSE(client_->HasMenus("/elsewhere/a"));
  extension.menus.Hang(true);
  EXPECT_EQ(Menu("/w/a"), "");
  EXPECT_EQ(Menu("/w/a"), "");
  ASSERT_TRUE(TurnUntil([&] { return extension.menus.Asked() == 1; }));
  extension.menus.Hang(false);
  ASSERT_TRUE(TurnUntil([&] { return menusChanged_ == 2; }));
  EXPECT_EQ(Menu("/w/a"), "Lock;");
  const FileMenuPtr former = client_->MenuFor({"/w/a"});
  const guint serial = former->serial;

  extension.SignalMenus();
  ASSERT_TRUE(TurnUntil([&] { return former->serial > serial; })) << "the same menu, made anew";
  EXPECT_EQ(menusChanged_, 2);
  extension.menus.Hang(true);
  extension.menus.Set("[(0, 'Locked', '', false, '', false), (1, 'Unlock', '', true, 'u', false)]");
  const std::size_t asked = extension.menus.Asked();
  extension.SignalMenus();
  ASSERT_TRUE(TurnUntil([&] { return extension.menus.Asked() > asked; }));
  for (const char* path : {"/w/b", "/w/c", "/w/d", "/w/e"}) EXPECT_EQ(Menu(path), "");
  EXPECT_EQ(Menu("/w/a"), "Lock;") << "until the new one is there";
  EXPECT_LE(extension.menus.Asked(), asked + 2) << "what is not answered must not pile up";
  extension.menus.Hang(false);
  ASSERT_TRUE(TurnUntil([&] { return Menu("/w/a") == "Locked;Unlock;" && menusChanged_ > 2; }));

  client_->Choose(*former, former->lines[0], "token");
  EXPECT_TRUE(TurnUntil([&] { return extension.menus.Chosen().size() == 1; }));
  EXPECT_EQ(extension.menus.Chosen()[0],
            "(" + std::to_string(former->serial) + ", 0, {'activation-token': <'token'>})");
}

TEST_F(FinderClientTest, EachOfTwoWindowsGetsItsMenu) {
  StartBus();
  ScriptedExtension extension({});
  ASSERT_TRUE(HasMenus());
  const int before = menusChanged_;
  extension.menus.Hang(true);
  EXPECT_EQ(Menu("/w/a"), "");
  EXPECT_EQ(Menu("/w/b"), "");
  EXPECT_EQ(client_->MenuFor({}), nullptr) << "of a third one";
  extension.menus.Hang(false);
  EXPECT_TRUE(TurnUntil([&] { return menusChanged_ == before + 2; }));
  EXPECT_EQ(Menu("/w/a") + Menu("/w/b"), "Lock;Lock;");
}

TEST_F(FinderClientTest, AMenuOfAnExtensionThatHasGoneIsChosenFromAnew) {
  StartBus();
  auto extension = std::make_unique<ScriptedExtension>(std::map<std::string, char>{});
  ASSERT_TRUE(HasMenus());
  ASSERT_TRUE(TurnUntil([&] { return Menu("/w/a") == "Lock;"; }));
  const FileMenuPtr former = client_->MenuFor({"/w/a"});
  const int before = menusChanged_;
  extension.reset();
  ASSERT_TRUE(TurnUntil([&] { return menusChanged_ == before + 1; })) << "there is no menu now";
  EXPECT_FALSE(client_->HasMenus("/w/a"));
  extension = std::make_unique<ScriptedExtension>(std::map<std::string, char>{});
  ASSERT_TRUE(TurnUntil([&] { return menusChanged_ == before + 2; }));
  extension->menus.Set("[(0, 'Team', '', false, '', false), (1, 'Lock', '', true, 'lock', false)]");
  client_->Choose(*former, former->lines[0], "");
  ASSERT_TRUE(TurnUntil([&] { return !extension->menus.Chosen().empty(); }));
  EXPECT_EQ(extension->menus.Chosen(), (Strings{"(1, 1, {})"}));
}

TEST_F(FinderClientTest, AnEmptyMenuIsWantedAgainWhenTheExtensionReturns) {
  StartBus();
  auto extension = std::make_unique<ScriptedExtension>(std::map<std::string, char>{});
  extension->menus.Set("[]");
  ASSERT_TRUE(HasMenus());
  const int before = menusChanged_;
  EXPECT_EQ(Menu("/w/a"), "");
  ASSERT_TRUE(TurnUntil([&] { return extension->menus.Asked() == 1; }));
  extension.reset();
  extension = std::make_unique<ScriptedExtension>(std::map<std::string, char>{});
  EXPECT_TRUE(TurnUntil([&] { return menusChanged_ == before + 1; }));
}

TEST_F(FinderClientTest, AMenuThatTheExtensionDroppedIsChosenFromAnewOnce) {
  MakeClient(MenuWaiting::kShortly);
  StartBus();
  ScriptedExtension extension({});
  ASSERT_TRUE(HasMenus());
  Strings chosen;
  guint serial = 0;
  for (const char* now : {"[(0, 'Lock', '', false, 'lock', false)]", "[]",
                          "[(0, 'A', '', true, 'a', false), (1, 'L', '', true, 'lock', false)]"}) {
    const std::string file = "/w/" + std::to_string(++serial);
    const FileMenuPtr shown = client_->MenuFor({file});
    ASSERT_TRUE(shown && shown->lines.size() == 1);
    const std::string former = std::to_string(serial);
    for (int i = 0; i < 16; ++i, ++serial) Menu(file + "-" + std::to_string(i));
    extension.menus.Set(now);
    client_->Choose(*shown, shown->lines[0], "token");
    ASSERT_TRUE(TurnUntil([&] { return extension.menus.Asked() == serial + 1; }));
    extension.menus.Set("[(0, 'Lock', '', true, 'lock', false)]");
    ++serial;
    chosen.push_back("(" + former + ", 0, {'activation-token': <'token'>})");
  }
  chosen.push_back("(" + std::to_string(serial) + ", 1, {'activation-token': <'token'>})");
  EXPECT_TRUE(TurnUntil([&] { return extension.menus.Chosen().size() >= chosen.size(); }));
  EXPECT_EQ(extension.menus.Chosen(), chosen) << "only what is enabled, and never twice";
}

TEST_F(FinderClientTest, APopupWaitsForAHungExtensionOnce) {
  MakeClient(MenuWaiting::kShortly);
  StartBus();
  ScriptedExtension extension({});
  ASSERT_TRUE(HasMenus());
  EXPECT_EQ(Menu("/w/a"), "Lock;");

  extension.menus.Hang(true);
  const gint64 begin = g_get_monotonic_time();
  EXPECT_EQ(Menu("/w/b"), "");
  const gint64 first = g_get_monotonic_time();
  EXPECT_GE(first - begin, 200'000);
  EXPECT_LT(first - begin, 10'000'000) << "it is not waited for as long as a call may take";
  for (int i = 0; i < 20; ++i) EXPECT_EQ(Menu("/w/c" + std::to_string(i % 5)), "");
  EXPECT_EQ(Menu("/w/a"), "Lock;");
  EXPECT_LT(g_get_monotonic_time() - first, 3'000'000) << "not 200 ms each";
  EXPECT_LE(extension.menus.Asked(), 4U);
  extension.menus.Hang(false);
  EXPECT_TRUE(TurnUntil([&] { return Menu("/w/d") == "Lock;"; }));
  EXPECT_EQ(menusChanged_, 0);
}

TEST_F(FinderClientTest, OnlyTheExtensionWritesTheClipboard) {
  StartBus();
  ScriptedExtension extension({});
  ASSERT_TRUE(HasMenus());
  Menu("/w/a");
  ASSERT_TRUE(TurnUntil([&] { return !extension.menus.Client().empty(); }));
  std::string error;
  const GObjectPtr<GDBusConnection> stranger = OpenSessionBus(&error);
  const auto write = [&](GDBusConnection* from, const char* text) {
    std::string answer;
    g_dbus_connection_call(
        from, extension.menus.Client().c_str(), "/com/kelvo/FinderHost", "com.kelvo.FinderHost1",
        "SetClipboard", g_variant_new("(s)", text), G_VARIANT_TYPE("(b)"), G_DBUS_CALL_FLAGS_NONE,
        -1, nullptr,
        [](GObject* source, GAsyncResult* result, gpointer out) {
          const GLibPtr<GVariant> reply(
              g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, nullptr));
          const GLibPtr<char> printed(reply ? g_variant_print(reply.get(), FALSE)
                                            : g_strdup("refused"));
          *static_cast<std::string*>(out) = printed.get();
        },
        &answer);
    EXPECT_TRUE(TurnUntil([&] { return !answer.empty(); }));
    return answer;
  };
  EXPECT_EQ(write(extension.Connection(), "a link"), "(true,)");
  EXPECT_EQ(write(stranger.get(), "another"), "refused");
  EXPECT_EQ(clipboard_, "a link");

  HostObject first([](const std::string&) { return false; }),
      second([](const std::string&) { return false; });
  EXPECT_TRUE(first.Export(stranger.get(), ":1.1"));
  EXPECT_FALSE(second.Export(stranger.get(), ":1.1")) << "one at a connection";
}

}  // namespace
}  // namespace kelvo
