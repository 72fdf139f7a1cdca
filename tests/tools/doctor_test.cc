#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <thread>

#include "base/unique_fd.h"
#include "tests/support/fixture.h"
#include "tools/finder/doctor/agent_checks.h"
#include "tools/finder/doctor/configuration_checks.h"
#include "tools/finder/doctor/icon_checks.h"
#include "tools/finder/doctor/limits.h"
#include "tools/finder/doctor/log_checks.h"
#include "tools/finder/doctor/plugin_checks.h"
#include "tools/finder/doctor/report.h"

namespace kelvo::finder {
namespace {

namespace fs = std::filesystem;

constexpr char kSocket[] = "/com.kelvo.vip.kelvoFinderSync";

std::string TextOf(const Check& check) {
  std::string text(StateName(check.state));
  for (const std::string& line : check.found) text += "\n" + line;
  for (const std::string& line : check.advice) text += "\n-> " + line;
  return text;
}

// The state is as named, and every part is told.
void ExpectCheck(const Check& check, std::string_view state,
                 const std::vector<std::string>& parts) {
  EXPECT_EQ(state, StateName(check.state)) << TextOf(check);
  for (const std::string& part : parts) {
    EXPECT_NE(std::string::npos, TextOf(check).find(part)) << part << " in\n" << TextOf(check);
  }
}

ExtensionFacts Facts() {
  ExtensionFacts facts{ExtensionClient::Properties{}, ExtensionClient::Diagnosis{}};
  facts.diagnosis->configurationRead = true;
  facts.diagnosis->configurationLabel = "Home";
  return facts;
}

class DoctorTest : public test::Fixture {
 protected:
  UniqueFd Listen(const std::string& path) {
    UniqueFd fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, path.c_str());
    EXPECT_EQ(0, ::bind(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof address));
    EXPECT_EQ(0, ::listen(fd.get(), 1));
    return fd;
  }
  // A process as /proc shows it.
  void AddProcess(int number, const std::string& program, const std::string& mapped,
                  const std::string& runtimeFolder) {
    const std::string folder = Home("proc/" + std::to_string(number));
    WriteFile(folder + "/maps", "7f00-7f01 r-xp 00000000 08:01 1234   /usr/lib/libc.so.6\n" +
                                    (mapped.empty() ? "" : "7f02-7f03 r-xp 0 0 1   " + mapped) +
                                    "\n");
    WriteFile(folder + "/environ", "HOME=/x" + std::string(1, '\0') +
                                       "XDG_RUNTIME_DIR=" + runtimeFolder + std::string(1, '\0'));
    fs::create_symlink("/usr/bin/" + program, folder + "/exe");
  }
  void AddTheme(const std::string& base, const std::string& name, const std::string& inherits) {
    WriteFile(Home(base + "/" + name + "/index.theme"),
              "[Icon Theme]\nName=x\nInherits=" + inherits + "\nDirectories=16x16/emblems,s\n");
  }
};

TEST_F(DoctorTest, SaysWhatLiesInTheAgentsPlace) {
  const std::string runtime = Home("run");
  const std::string path = runtime + kSocket;
  fs::create_directory(runtime);
  ::chmod(runtime.c_str(), 0750);
  ExpectCheck(CheckRuntimeFolder("", ::geteuid()), "problem", {"not set"});
  ExpectCheck(CheckRuntimeFolder(runtime, ::geteuid()), "problem", {"chmod 700 " + runtime});
  ::chmod(runtime.c_str(), 0700);
  ExpectCheck(CheckRuntimeFolder(runtime, ::geteuid()), "ok", {});
  ExpectCheck(CheckRuntimeFolder(runtime, ::geteuid() + 1), "problem", {"another user"});

  const auto socket = [&] { return CheckAgentSocket(runtime, ::geteuid(), {}); };
  ExpectCheck(socket(), "problem", {"the Agent does not run", "-> Start the Kelvo Agent"});
  fs::create_symlink("/elsewhere", path);
  ExpectCheck(socket(), "problem", {"is a link", "rm " + path});
  fs::remove(path);
  WriteFile(path, "");
  ExpectCheck(socket(), "problem", {"no socket"});
  fs::remove(path);
  {
    const UniqueFd agent = Listen(path);
    ExpectCheck(socket(), "ok", {"Process " + std::to_string(::getpid()) + " listens"});
    ExpectCheck(CheckAgentSocket(runtime, ::geteuid() + 1, {}), "problem", {"another user"});
  }
  ExpectCheck(socket(), "problem", {"left over"});
  ExpectCheck(CheckAgentSocket("/" + std::string(100, 'x'), 1000, {}), "problem", {"too long"});
  ExtensionFacts facts = Facts();
  facts.diagnosis->agentSocket = Home("other") + kSocket;
  fs::create_directory(Home("other"));
  const UniqueFd agent = Listen(facts.diagnosis->agentSocket);
  ExpectCheck(CheckAgentSocket(runtime, ::geteuid(), facts), "warning", {"another folder"});
}

TEST_F(DoctorTest, TellsFaultsOfTheConfiguration) {
  const struct {
    const char* bytes;  // null: no file
    const char* state;
    std::vector<std::string> parts;
  } kRows[] = {
      {nullptr, "problem", {"no account is set up", "sign in"}},
      {"", "problem", {"is empty"}},
      {"<plist version=\"1.0\"><dict><key>a", "problem", {"is damaged"}},
      {"<plist version=\"1.0\"><array/></plist>", "problem", {"no dictionary"}},
      {"<plist version=\"1.0\"><dict><key>config_label</key><string>Home</string></dict></plist>",
       "ok",
       {"\"Home\""}},
      {"<plist version=\"1.0\"><dict><key>config_label</key><string>New</string></dict></plist>",
       "warning",
       {"\"New\"", "\"Home\""}},
  };
  const std::string file = Home("user_info.plist");
  for (const auto& row : kRows) {
    fs::remove(file);
    if (row.bytes != nullptr) WriteFile(file, row.bytes);
    ExpectCheck(CheckConfiguration(file, Facts(), ConfigurationCheck()), row.state, row.parts);
  }
  fs::remove(file);
  ASSERT_EQ(0, ::mkfifo(file.c_str(), 0600));
  const std::vector<std::string> told = {"is no ordinary file", "-> Remove it"};
  ExpectCheck(CheckConfiguration(file, Facts(), ConfigurationCheck()), "problem", told);
  ExpectCheck(CheckLog({}, file, 0), "warning", told);
  ExpectCheck(CheckLog({}, "/dev/null", 0), "warning", told);

  ::unsetenv("HOME");
  Check check = ConfigurationCheck();
  const std::string none = ConfigurationFile({}, &check);
  ExpectCheck(CheckConfiguration(none, {}, check), "skipped", {"HOME is not set"});
  ExpectCheck(CheckLog({}, LogFile({}), 0), "skipped", {"HOME is not set"});
}

class DoctorPluginTest : public DoctorTest {
 protected:
  DoctorPluginTest() {
    WriteFile(file_, "");
    WriteFile(Home("files"),
              "\x7f"
              "ELF libfiles.so.1");
  }
  Check Plugin() const { return CheckPlugins({manager_}, around_).front(); }
  Check Others() const { return CheckOtherExtensions({manager_}, around_); }

  const std::string file_ = Home("extensions/ours.so");
  std::string switchOn_;
  std::string fault_;
  const FileManager manager_{"fm",         "Files",
                             "files",      "libfiles.so.1",
                             "pack",       {{"ours.so", {Home("extensions")}, "", "it"}},
                             "add_emblem", "py",
                             "files -q",   [this] { return switchOn_; }};
  const PluginSurroundings around_{Home("proc"),
                                   ::geteuid(),
                                   "/run/me",
                                   {Home("share")},
                                   [this](const std::string& program) { return Home(program); },
                                   [this](const std::string&) {
                                     return ModuleTrial{true, fault_};
                                   }};
};

TEST_F(DoctorPluginTest, TellsOfEachProcessWhetherItHasThePlugin) {
  ExpectCheck(Plugin(), "ok", {"does not run now"});
  AddProcess(1, "files", "", "/run/other");
  AddProcess(2, "files (deleted)", file_, "/run/me");
  AddProcess(3, "other", "", "/run/me");
  ExpectCheck(Plugin(), "ok", {"process 2) with the plug-in"});
  AddProcess(4, "files", file_ + " (deleted)", "/run/me");
  ExpectCheck(Plugin(), "warning", {"process 4) with a plug-in that has been replaced"});
  AddProcess(5, "files", "/x/colours.so", "/run/me");
  ExpectCheck(Plugin(), "problem", {"process 5) without the plug-in", "-> files -q"});
  switchOn_ = "Edit > Plugins";  // which is why it is not in process 5
  ExpectCheck(Plugin(), "warning", {"switched off in Files's settings", "-> Edit > Plugins"});
}

TEST_F(DoctorPluginTest, TellsWhyItCannotBeLoaded) {
  const std::pair<const char*, const char*> kFaults[] = {
      {"/x/ours.so: undefined symbol: files_new, version V", "needs the function files_new, which"},
      {"libfiles.so.9: cannot open shared object file: No such file or directory",
       "the library libfiles.so.9,"},
      {"libkelvo-x.so: cannot open shared object file: No such file",
       "comes with it and is missing"},
      {"/x/ours.so: undefined symbol: kelvo_x", "comes with it is of another version"},
      {"/lib/libc.so.6: version `GLIBC_9.9' not found (required by x)", "needs GLIBC_9.9"},
      {"invalid ELF header", "invalid ELF header"}};
  for (const auto& [words, told] : kFaults) {
    fault_ = words;
    ExpectCheck(Plugin(), "problem", {told, "-> Install the package pack"});
  }
  fault_.clear();
  WriteFile(Home("files"),
            "\x7f"
            "ELF libfiles.so.2");
  ExpectCheck(Plugin(), "problem",
              {"does not use libfiles.so.1: this Files is too old or too new"});
  fs::remove(file_);
  ASSERT_EQ(0, ::mkfifo(file_.c_str(), 0600));
  ExpectCheck(Plugin(), "problem", {"is no ordinary file", "-> Remove it"});
  fs::remove(file_);
  ExpectCheck(Plugin(), "problem", {"No plug-in is installed"});
}

TEST_F(DoctorPluginTest, NamesOtherExtensionsThatDrawBadges) {
  ExpectCheck(Others(), "ok", {"None"});
  WriteFile(Home("extensions/theirs.so"),
            "\x7f"
            "ELF..files_add_emblem");
  WriteFile(Home("extensions/harmless.so"), "ELF");
  WriteFile(Home("share/py/their.py"), "f.add_emblem('x')");
  ExpectCheck(Others(), "warning", {"theirs.so", "their.py"});
}

TEST_F(DoctorTest, TriesPluginsInAProcessOfTheirOwn) {
  const ModuleTrial bad = TryModule(KELVO_FINDER, KELVO_FUTURE_PLUGIN);
  ASSERT_TRUE(bad.done);
  EXPECT_NE(std::string::npos,
            ExplainFault(bad.fault, "Files").find("function files_of_the_future"))
      << bad.fault;
  EXPECT_FALSE(TryModule("/nowhere/kelvo-finder", KELVO_FUTURE_PLUGIN).done);
  // One that cannot say why, as on a full disk.
  WriteFile(Home("mute"), "#!/bin/sh\nexec '" KELVO_FINDER "' \"$@\" >/dev/full\n");
  ::chmod(Home("mute").c_str(), 0755);
  EXPECT_EQ("the loader gave no reason", TryModule(Home("mute"), KELVO_FUTURE_PLUGIN).fault);

  EXPECT_FALSE(TryModule(KELVO_FINDER, KELVO_HANGING_PLUGIN, std::chrono::milliseconds{500}).done);
  // No child of this process is left.
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds{30};
  while (::waitpid(-1, nullptr, WNOHANG | WNOWAIT) == 0) {
    ASSERT_LT(std::chrono::steady_clock::now(), end) << "it has not been ended";
    std::this_thread::yield();
  }
}

TEST_F(DoctorTest, FindsIconsAsFileManagersDo) {
  ExtensionFacts facts = Facts();
  facts.properties->badges = {{Badge{}, "a", "emblem-a"}, {Badge{}, "b", "emblem-b"}};
  const auto check = [&](bool loader) {
    return CheckIcons(facts, IconSearch({Home("one"), Home("two")}, "Mine"), loader);
  };
  AddTheme("one", "Mine", "Other, Mine");
  AddTheme("two", "Other", "Mine");  // a circle
  ExpectCheck(check(true), "problem", {"hicolor-icon-theme"});
  AddTheme("two", "hicolor", "");
  WriteFile(Home("one/hicolor/16x16/emblems/emblem-a.png"), "");
  WriteFile(Home("two/Other/s/emblem-b.svg"), "");
  WriteFile(Home("two/Other/elsewhere/emblem-c.png"), "");
  ExpectCheck(check(true), "ok", {"Mine, Other, hicolor"});
  ExpectCheck(check(false), "problem", {"only SVG files for emblem-b,", "librsvg2-common"});
  facts.properties->badges.push_back({Badge{}, "c", "emblem-c"});
  ExpectCheck(check(true), "problem", {"No file for emblem-c in"});
  facts.properties->badges.pop_back();
  WriteFile(Home("one/hicolor/icon-theme.cache"), "emblem-abc");
  ExpectCheck(check(true), "problem", {"gtk-update-icon-cache -f " + Home("one/hicolor")});
  fs::last_write_time(Home("one/hicolor/icon-theme.cache"),
                      fs::last_write_time(Home("one/hicolor")) - std::chrono::hours{1});
  ExpectCheck(check(true), "ok", {});  // toolkits do not go by one that is older than its folder
  fs::remove(Home("two/hicolor/index.theme"));
  ASSERT_EQ(0, ::mkfifo(Home("two/hicolor/index.theme").c_str(), 0600));
  ExpectCheck(check(true), "problem", {"hicolor-icon-theme"});
}

TEST_F(DoctorTest, TellsTheLastFailuresOfTheLog) {
  const std::string file = Home("plugin.log");
  ExpectCheck(CheckLog({}, file, 0), "skipped", {"no log yet"});
  std::string log = "[1|] cannot open 0\n" + std::string(300 * 1024, 'x') + '\n';
  WriteFile(file, log);
  ExpectCheck(CheckLog({}, file, 0), "ok", {});
  for (int i = 1; i < 8; ++i) log += "[1|] cannot open " + std::to_string(i) + "\n[1|] started\n";
  WriteFile(file, log);
  const Check check = CheckLog({}, file, 0);
  ExpectCheck(check, "warning", {"  [1|] cannot open 3\n", "  [1|] cannot open 7\n"});
  EXPECT_EQ(6U, check.found.size());
  ExpectCheck(CheckLog({"2026-11-23T08:00:00 x"}, file, 0), "warning", {"journal", "T08:00:00"});

  const std::pair<const char*, const char*> kLines[] = {
      {"ERROR: Project not found!", "warning"},
      {"Error in WebAccess: x", "warning"},
      {"name \"error\"", "warning"},
      {"reply exception: x", "warning"},
      {"message \"x\" skipped: y", "warning"},
      {"skipping", "warning"},
      {"OnSyncErrorReceived", "ok"},
      {"Mirror", "ok"},
      {"Annotations of Terror, skipper", "ok"},
      {"T\u00e9rror \u00fcerror errored", "ok"},
      {"Cannot Unable failedly xfailed", "warning"}};
  for (const auto& [line, state] : kLines) {
    WriteFile(file, std::string("[1|] ") + line + "\n");
    ExpectCheck(CheckLog({}, file, 0), state, {});
  }
}

TEST_F(DoctorTest, TellsOfTheJournalOnlyWhatTheExtensionSaid) {
  const std::string former = ::getenv("PATH");
  ::setenv("PATH", (Home("bin:") + former).c_str(), 1);
  WriteFile(Home("bin/journalctl"),
            "#!/bin/sh\necho '08:00 x: Gtk: no theme'\necho '08:01 x: Kelvo Plugin: failed'\n");
  ::chmod(Home("bin/journalctl").c_str(), 0755);
  EXPECT_EQ(std::vector<std::string>{"08:01 x: Kelvo Plugin: failed"}, JournalErrors());
  WriteFile(Home("bin/journalctl"), "#!/bin/sh\necho 'Kelvo Plugin: x'\nexit 1\n");
  EXPECT_EQ(std::vector<std::string>{}, JournalErrors());
  ::setenv("PATH", former.c_str(), 1);
}

TEST_F(DoctorTest, ReportsAreSafeWhateverAPathHolds) {
  Check check{"folder", "Folder"};
  check.Fail(Shown("/a\xff\"\x1b[2J") + " is bad", "do \"that\"");
  EXPECT_NE(std::string::npos, JsonReport({check}).find(
                                   R"("ok": false, "checks": [{"id": "folder", "title": "Folder", )"
                                   R"("state": "problem", "found": ["/a\\xff\"\\x1b[2J is bad"], )"
                                   R"("advice": ["do \"that\""]}]})"))
      << JsonReport({check});
  EXPECT_EQ(std::string::npos, TextReport({check}, false).find('\x1b'));
}

}  // namespace
}  // namespace kelvo::finder
