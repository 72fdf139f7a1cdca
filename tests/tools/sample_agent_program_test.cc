// The sample Agent as a process, spoken to as an extension speaks.
#include <gio/gio.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>

#include "agent/keyed_archive.h"
#include "agent/message_frame.h"
#include "agent/notifications_bridge.h"
#include "base/unique_fd.h"
#include "platform/linux/glib_ptr.h"
#include "tests/support/fixture.h"
#include "tools/sample_agent/agent_message.h"

namespace kelvo::sample_agent {
namespace {

constexpr int kLimit = 20'000;  // milliseconds
constexpr char kAccountFile[] = "Library/Preferences/com.kelvo.vip/user_info.plist";

// One connection to the Agent.
class Peer {
 public:
  explicit Peer(const std::string& path) : fd_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.data(), path.size());
    EXPECT_EQ(::connect(fd_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  }

  void SendBytes(const std::string& bytes) {
    EXPECT_EQ(::send(fd_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(bytes.size()));
  }
  void Send(const AgentMessage& message) {
    SendBytes(EncodeMessageFrame(message.name, EncodeKeyedArchive(message.info)));
  }
  void Open() { Send({kInitComName, {}}); }
  // Until the Agent has read everything sent before: false when it says something else first.
  bool Ping() {
    Send(Event("fp_ping", {}));
    return Receive() == "fp_pong";
  }

  // The next message's event name, or its own; "closed" at the end of the stream.
  std::string Receive() {
    for (;;) {
      if (const auto frame = reader_.Next()) {
        const auto info = DecodeKeyedArchive(frame->archive, nullptr);
        const PropertyList* event = info ? FindValue(*info, "event_name") : nullptr;
        return event == nullptr ? frame->name : event->ToText().value_or("no text");
      }
      pollfd ready{fd_.get(), POLLIN, 0};
      if (::poll(&ready, 1, kLimit) != 1) return "late";
      char bytes[4096];
      const ssize_t count = ::recv(fd_.get(), bytes, sizeof bytes, 0);
      if (count <= 0) return "closed";
      reader_.Append(std::string_view(bytes, static_cast<std::size_t>(count)));
    }
  }

 private:
  UniqueFd fd_;
  MessageFrameReader reader_;
};

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

TEST_F(SampleAgentProgramTest, ABrokenPeerLosesOnlyItsOwnConnection) {
  Start();
  Peer good(socket_);
  good.Open();
  for (const std::string& header :
       {std::string("\0\0\0\0\0\0\0\3", 8), std::string("\0\0\0\0\0\0\0\2\xff\xff\xff\xff", 12)}) {
    Peer bad(socket_);
    bad.Open();
    bad.SendBytes(header);
    EXPECT_EQ(bad.Receive(), "closed");
  }
  // A dictionary that cannot be read costs only itself.
  good.SendBytes(EncodeMessageFrame(kAgentEventName, "bplist00 nonsense"));
  good.SendBytes(EncodeMessageFrame("", ""));
  EXPECT_TRUE(good.Ping());
}

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
  Peer peer(socket_);
  peer.Open();
  EXPECT_TRUE(peer.Ping());
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
