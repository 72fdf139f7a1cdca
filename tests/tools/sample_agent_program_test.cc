// The sample Agent as a process.
#include <gio/gio.h>
#include <signal.h>
#include <sys/stat.h>

#include <filesystem>

#include "platform/linux/glib_ptr.h"
#include "tests/support/fixture.h"

namespace kelvo::sample_agent {
namespace {

constexpr char kAccountFile[] = "Library/Preferences/com.kelvo.vip/user_info.plist";

class SampleAgentProgramTest : public test::Fixture {
 protected:
  SampleAgentProgramTest() {
    std::filesystem::create_directories(runtime_);
    ::chmod(runtime_.c_str(), 0700);
    WriteFile(work_ + "/a.txt", "");
  }
  ~SampleAgentProgramTest() override {
    if (process_ != nullptr) g_subprocess_force_exit(process_.get());
  }

  using Process = GObjectPtr<GSubprocess>;
  Process Launch(const std::string& folder) {
    const GObjectPtr<GSubprocessLauncher> launcher(
        g_subprocess_launcher_new(static_cast<GSubprocessFlags>(G_SUBPROCESS_FLAGS_STDIN_PIPE |
                                                                G_SUBPROCESS_FLAGS_STDOUT_PIPE |
                                                                G_SUBPROCESS_FLAGS_STDERR_MERGE)));
    g_subprocess_launcher_setenv(launcher.get(), "HOME", home_.c_str(), TRUE);
    g_subprocess_launcher_setenv(launcher.get(), "XDG_RUNTIME_DIR", runtime_.c_str(), TRUE);
    return Process(g_subprocess_launcher_spawn(launcher.get(), nullptr, KELVO_SAMPLE_AGENT,
                                               folder.c_str(), nullptr));
  }
  void Start() {
    process_ = Launch(work_);
    ASSERT_NE(process_, nullptr);
    ASSERT_TRUE(Printed(process_, "listening at "));
  }
  // Reads what the process prints up to the line with the text; false when it ends without it.
  static bool Printed(const Process& process, const std::string& text) {
    GInputStream* output = g_subprocess_get_stdout_pipe(process.get());
    std::string line;
    char character = 0;
    while (g_input_stream_read(output, &character, 1, nullptr, nullptr) == 1) {
      if (character != '\n') {
        line += character;
        continue;
      }
      if (line.find(text) != std::string::npos) return true;
      line.clear();
    }
    return false;
  }
  static int ExitCode(const Process& process) {
    g_subprocess_wait(process.get(), nullptr, nullptr);
    return g_subprocess_get_if_exited(process.get()) ? g_subprocess_get_exit_status(process.get())
                                                     : -1;
  }

  const std::string runtime_ = Home("run");
  const std::string work_ = Home("work");
  const std::string socket_ = runtime_ + "/com.kelvo.vip.kelvoFinderSync";
  Process process_;
};

TEST_F(SampleAgentProgramTest, AStaleSocketIsReplacedAndALivingAgentLeftAlone) {
  Start();
  const std::string account = ReadFile(Home(kAccountFile));
  EXPECT_NE(account.find(work_), std::string::npos);
  const Process second = Launch(home_);
  EXPECT_TRUE(Printed(second, "another Agent is listening"));
  EXPECT_EQ(ExitCode(second), 1);
  EXPECT_EQ(ReadFile(Home(kAccountFile)), account);
  g_subprocess_send_signal(process_.get(), SIGKILL);
  g_subprocess_wait(process_.get(), nullptr, nullptr);
  ASSERT_TRUE(std::filesystem::exists(socket_));
  Start();
}

TEST_F(SampleAgentProgramTest, NothingButAnOwnSocketIsEverReplaced) {
  WriteFile(socket_, "precious");
  EXPECT_TRUE(Printed(Launch(work_), "is not a socket of this user"));
  EXPECT_EQ(ReadFile(socket_), "precious");
  std::filesystem::remove(socket_);
  std::filesystem::create_symlink("/nowhere", socket_);
  EXPECT_EQ(ExitCode(Launch(work_)), 1);
  EXPECT_TRUE(std::filesystem::is_symlink(socket_));
  ::chmod(runtime_.c_str(), 0755);
  EXPECT_TRUE(Printed(Launch(work_), "must be the user's own"));
}

}  // namespace
}  // namespace kelvo::sample_agent
