#include "bench/extension_session.h"

#include <signal.h>
#include <stdlib.h>
#include <time.h>

#include <cstdio>
#include <filesystem>
#include <system_error>

#include "hosts/bus/bus_interface.h"
#include "platform/linux/session_bus.h"
#include "tests/support/main_context.h"

namespace kelvo::bench {
namespace {

std::string MakeFolder() {
  std::string folder = (std::filesystem::temp_directory_path() / "kelvo-bench-XXXXXX").string();
  Require(::mkdtemp(folder.data()) != nullptr, "no temporary folder can be made");
  return folder;
}

std::string MakeHome(const std::string& folder) {
  const std::string home = folder + "/home";
  std::filesystem::create_directory(home);
  return home;
}

// The process and its children are to see nothing of the user's. After the bus has come up, which
// clears some of it.
void SetEnvironment(const std::string& folder, const std::string& home) {
  ::setenv("HOME", home.c_str(), 1);
  ::setenv("XDG_RUNTIME_DIR", folder.c_str(), 1);
  ::setenv("GSETTINGS_BACKEND", "memory", 1);
  ::unsetenv("DISPLAY");
  ::unsetenv("WAYLAND_DISPLAY");
}

void TakeOwner(GDBusConnection*, const char*, const char* owner, gpointer extension) {
  *static_cast<std::string*>(extension) = owner;
}

}  // namespace

void Require(bool condition, const std::string& otherwise) {
  if (condition) return;
  std::fprintf(stderr, "%s\n", otherwise.c_str());
  std::exit(1);
}

ExtensionSession::ExtensionSession(const Command& command)
    : folder_(MakeFolder()),
      home_(MakeHome(folder_)),
      daemon_(g_test_dbus_new(G_TEST_DBUS_NONE)),
      agent_(std::make_unique<BenchAgent>(folder_)) {
  g_test_dbus_up(daemon_.get());
  SetEnvironment(folder_, home_);
  std::string reason;
  bus_ = OpenSessionBus(&reason);
  Require(bus_ != nullptr, reason);
  const guint watch =
      g_bus_watch_name_on_connection(bus_.get(), kBusName, G_BUS_NAME_WATCHER_FLAGS_NONE, TakeOwner,
                                     nullptr, &extension_, nullptr);
  const std::vector<std::string> words = command(folder_);
  std::vector<const char*> arguments;
  for (const std::string& argument : words) arguments.push_back(argument.c_str());
  arguments.push_back(nullptr);
  GErrorSlot error;
  process_.reset(
      g_subprocess_newv(arguments.data(), G_SUBPROCESS_FLAGS_STDERR_SILENCE, error.out()));
  Require(process_ != nullptr, error.text());
  Require(test::TurnUntil([this] { return !extension_.empty(); }),
          words.front() + " does not own its name");
  g_bus_unwatch_name(watch);
}

GLibPtr<GVariant> ExtensionSession::Call(GDBusConnection* bus, const char* method,
                                         GVariant* arguments) const {
  GErrorSlot error;
  GLibPtr<GVariant> reply(g_dbus_connection_call_sync(
      bus, extension_.c_str(), kBusPath, kBusInterface, method, arguments, nullptr,
      G_DBUS_CALL_FLAGS_NONE, 60'000, nullptr, error.out()));
  Require(reply != nullptr, error.text());
  return reply;
}

std::int64_t ExtensionSession::ProcessorTime() const {
  clockid_t clock;
  timespec time{};
  const char* process = g_subprocess_get_identifier(process_.get());
  Require(process != nullptr && ::clock_getcpuclockid(std::stoi(process), &clock) == 0 &&
              ::clock_gettime(clock, &time) == 0,
          "the extension has ended");
  return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

ExtensionSession::~ExtensionSession() {
  g_subprocess_send_signal(process_.get(), SIGTERM);
  g_subprocess_wait(process_.get(), nullptr, nullptr);
  agent_.reset();
  bus_.reset();
  g_test_dbus_stop(daemon_.get());
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

}  // namespace kelvo::bench
