// From the Agent's list to the badges that a file manager holds, over the real processes and a bus
// of their own, beside an extension that is asked file by file, and beside what the bytes cost
// anyhow: one way through a socket, one copy, one packed signal.
#include <benchmark/benchmark.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <vector>

#include "base/unique_fd.h"
#include "bench/bench_file_manager.h"
#include "bench/extension_session.h"
#include "bench/goal.h"
#include "hosts/client/bus_values.h"
#include "platform/linux/session_bus.h"
#include "tests/support/agent_text.h"
#include "tests/support/main_context.h"

namespace kelvo::bench {
namespace {

constexpr std::size_t kFiles = 10'000;
constexpr char kEmit[] = "--emit-signals";
constexpr char kSignalInterface[] = "com.kelvo.Bench1";
constexpr char kSignalPath[] = "/com/kelvo/Bench";
constexpr std::chrono::milliseconds kQuiet{700};  // in which any signal would have come

std::int64_t Nanoseconds() {
  return std::chrono::steady_clock::now().time_since_epoch() / std::chrono::nanoseconds(1);
}

// A folder as the disk and the Agent know it.
struct Listing {
  // `permissions`: of the first file.
  explicit Listing(std::size_t count, int permissions = 1064) {
    std::vector<test::ListRecord> records;
    for (std::size_t i = 0; i < count; ++i) {
      const std::string number = std::to_string(i);
      names.push_back("Report number " + number + ".odt");
      records.push_back({.name = names.back(),
                         .status = i % 50 == 0 ? 1 : 0,
                         .modifiedBy = "Somebody Else",
                         .fileId = "F" + number,
                         .itemId = static_cast<long long>(i)});
      if (i % 100 == 1) records.back().lock = 2;
      packedBadges += Badge(i) + names.back() + '\0';
    }
    records.front().permissions = permissions;
    text = test::ListText(records);
  }

  static char Badge(std::size_t i) { return i % 100 == 1 ? '4' : i % 50 == 0 ? '2' : '1'; }

  std::vector<std::string> names;
  std::string text;
  std::string packedBadges;  // as one signal carries them
};

class BadgePath {
 public:
  BadgePath() : manager_(session_), listing_(kFiles) {
    std::filesystem::create_directories(folder_);
    for (const std::string& name : listing_.names) std::ofstream(folder_ + "/" + name);
  }

  // What one list takes to become badges, in seconds.
  double ListToBadges() {
    ShowNextFolder();
    const std::string frame = BenchAgent::ListFrame(folder_, listing_.text);
    manager_.signals.clear();
    const std::int64_t start = Nanoseconds();
    session_.Agent().Send(frame);
    Require(test::TurnUntil([this] { return manager_.BadgesTold(folder_) >= kFiles; }, 60),
            "the badges do not come");
    for (std::size_t i = 0; i < kFiles; ++i) {
      const char badge = manager_.BadgeOf(folder_ + "/" + listing_.names[i]);
      Require(badge == Listing::Badge(i), "a badge is wrong");
    }
    return static_cast<double>(manager_.HeldAt(folder_) - start) / 1e9;
  }

  // Signals about a folder of which everything is known that the same list, sent again, leads to.
  std::size_t SignalsOfReload() {
    ListToBadges();
    // Descriptions are compared a little after a list; who asks for them before is told once more.
    Turn(kQuiet);
    manager_.Show(folder_, listing_.names);
    Turn(kQuiet);
    manager_.signals.clear();
    session_.Agent().Send(BenchAgent::ListFrame(folder_, listing_.text));
    // The badges of another folder tell when it has been worked through.
    const std::string marker = folder_ + " of markers";
    ShowFolder(marker);
    session_.Agent().Send(BenchAgent::ListFrame(marker, listing_.text));
    Require(test::TurnUntil([&] { return manager_.BadgesTold(marker) >= kFiles; }, 60),
            "the badges do not come");
    Turn(kQuiet);
    const auto others = [&] {
      return static_cast<std::size_t>(
          std::count_if(manager_.signals.begin(), manager_.signals.end(),
                        [&](const auto& signal) { return signal.folder != marker; }));
    };
    const std::size_t quiet = others();
    const Listing changed(kFiles, 1074);
    session_.Agent().Send(BenchAgent::ListFrame(folder_, changed.text));
    Require(test::TurnUntil([&] { return others() > quiet; }, 60), "a description is not told");
    return quiet;
  }

  const std::string& ListText() const { return listing_.text; }
  const Listing& Files() const { return listing_; }
  ExtensionSession& Session() { return session_; }

 private:
  void ShowNextFolder() {
    const std::string next = session_.Home() + "/Workplace " + std::to_string(++folders_);
    std::filesystem::rename(folder_, next);
    folder_ = next;
    ShowFolder(folder_);
  }
  void ShowFolder(const std::string& folder) {
    manager_.Show(folder, listing_.names);
    session_.Agent().WaitForRequest(folder);
  }
  static void Turn(std::chrono::milliseconds time) {
    const std::int64_t end = Nanoseconds() + std::chrono::nanoseconds(time).count();
    while (Nanoseconds() < end) {
      g_main_context_iteration(nullptr, FALSE);
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }

  ExtensionSession session_{
      [](const std::string&) -> std::vector<std::string> { return {KELVO_EXTENSION_PROGRAM}; }};
  BenchFileManager manager_;
  const Listing listing_;
  std::string folder_ = session_.Home() + "/Workplace";
  int folders_ = 0;
};

std::unique_ptr<BadgePath> thePath;

BadgePath& Path() {
  if (thePath == nullptr) thePath = std::make_unique<BadgePath>();
  return *thePath;
}

void ListToHeldBadges(benchmark::State& state) {
  for ([[maybe_unused]] auto _ : state) state.SetIterationTime(Path().ListToBadges());
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kFiles));
}
BENCHMARK(ListToHeldBadges)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);

// A program with one end of a socket as its standard input; it ends with the other one.
class ProgramOverSocket {
 public:
  explicit ProgramOverSocket(const std::vector<std::string>& command) {
    int ends[2];
    Require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "no socket");
    socket_.Reset(ends[0]);
    const UniqueFd theirs(ends[1]);
    std::vector<char*> arguments;
    for (const std::string& argument : command) {
      arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    process_ = ::fork();
    if (process_ == 0) {
      ::dup2(theirs.get(), STDIN_FILENO);
      ::execv(arguments.front(), arguments.data());
      ::_exit(127);
    }
    Require(process_ > 0, "no process");
  }
  ~ProgramOverSocket() {
    socket_.Reset();
    ::waitpid(process_, nullptr, 0);
  }
  ProgramOverSocket(const ProgramOverSocket&) = delete;
  ProgramOverSocket& operator=(const ProgramOverSocket&) = delete;

  int get() const { return socket_.get(); }

 private:
  UniqueFd socket_;
  pid_t process_;
};

void SendAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    Require(count > 0, "the other end has gone");
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
}

void OneRequestPerFile(benchmark::State& state) {
  const Listing& files = Path().Files();
  const ProgramOverSocket extension({KELVO_NAIVE_PROGRAM});
  std::vector<std::string> paths;
  std::string table = std::to_string(kFiles) + "\n";
  for (std::size_t i = 0; i < kFiles; ++i) {
    paths.push_back("/home/somebody/Workplace/" + files.names[i]);
    table += std::string(1, Listing::Badge(i)) + " " + paths.back() + "\n";
  }
  SendAll(extension.get(), table);
  for ([[maybe_unused]] auto _ : state) {
    std::unordered_map<std::string, char> held;
    for (const std::string& path : paths) {
      SendAll(extension.get(), path + "\n");
      char answer[2];
      Require(::recv(extension.get(), answer, sizeof answer, MSG_WAITALL) == sizeof answer,
              "no answer");
      held[path] = answer[0];
    }
    Require(held.size() == kFiles && held[paths[1]] == '4', "a badge is wrong");
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kFiles));
}
BENCHMARK(OneRequestPerFile)->UseRealTime()->Iterations(2)->Unit(benchmark::kMillisecond);

void LimitSocketTransfer(benchmark::State& state) {
  const std::string bytes = BenchAgent::ListFrame("/home/somebody/Workplace", Path().ListText());
  int ends[2];
  Require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "no socket");
  UniqueFd ours(ends[0]);
  UniqueFd theirs(ends[1]);
  std::thread reader([&] {
    std::vector<char> buffer(64 * 1024);
    std::size_t taken = 0;
    ssize_t count;
    while ((count = ::recv(theirs.get(), buffer.data(), buffer.size(), 0)) > 0) {
      taken += static_cast<std::size_t>(count);
      if (taken % bytes.size() == 0) SendAll(theirs.get(), ".");
    }
  });
  for ([[maybe_unused]] auto _ : state) {
    SendAll(ours.get(), bytes);
    char done;
    Require(::recv(ours.get(), &done, 1, 0) == 1, "no answer");
  }
  ours.Reset();
  reader.join();
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
}
BENCHMARK(LimitSocketTransfer)->UseRealTime()->Unit(benchmark::kMillisecond);

void LimitCopy(benchmark::State& state) {
  const std::string& bytes = Path().ListText();
  std::string copy(bytes.size(), ' ');
  for ([[maybe_unused]] auto _ : state) {
    std::memcpy(copy.data(), bytes.data(), bytes.size());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
}
BENCHMARK(LimitCopy)->UseRealTime()->Unit(benchmark::kMillisecond);

// The process that emits: one signal of so many bytes for each byte of standard input.
int EmitSignals(std::size_t size) {
  std::string reason;
  const GObjectPtr<GDBusConnection> bus = OpenSessionBus(&reason);
  Require(bus != nullptr, reason);
  const std::string payload(size, '1');
  char order;
  while (::recv(STDIN_FILENO, &order, 1, 0) == 1) {
    g_dbus_connection_emit_signal(
        bus.get(), nullptr, kSignalPath, kSignalInterface, "Packed",
        g_variant_new("(@ay@ay)", Bytes("/home/somebody/Workplace"), Bytes(payload)), nullptr);
    g_dbus_connection_flush_sync(bus.get(), nullptr, nullptr);
  }
  return 0;
}

void LimitPackedSignal(benchmark::State& state) {
  const std::string& payload = Path().Files().packedBadges;
  std::size_t received = 0;
  const guint subscription = g_dbus_connection_signal_subscribe(
      Path().Session().Bus(), nullptr, kSignalInterface, nullptr, kSignalPath, nullptr,
      G_DBUS_SIGNAL_FLAGS_NONE,
      [](GDBusConnection*, const char*, const char*, const char*, const char*, GVariant* parameters,
         gpointer count) {
        const GLibPtr<GVariant> bytes = Child(parameters, 1);
        *static_cast<std::size_t*>(count) = BytesOf(bytes.get()).size();
      },
      &received, nullptr);
  const ProgramOverSocket emitter({"/proc/self/exe", kEmit, std::to_string(payload.size())});
  const auto one = [&] {
    received = 0;
    SendAll(emitter.get(), ".");
    Require(test::TurnUntil([&] { return received == payload.size(); }), "no signal");
  };
  one();
  for ([[maybe_unused]] auto _ : state) one();
  g_dbus_connection_signal_unsubscribe(Path().Session().Bus(), subscription);
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(payload.size()));
}
BENCHMARK(LimitPackedSignal)->UseRealTime()->Unit(benchmark::kMillisecond);

void QuietReload(benchmark::State& state) {
  std::size_t signals = 0;
  for ([[maybe_unused]] auto _ : state) signals += Path().SignalsOfReload();
  state.counters["signals"] =
      static_cast<double>(signals) / static_cast<double>(state.iterations());
}
BENCHMARK(QuietReload)->Iterations(1)->Unit(benchmark::kMillisecond);

void Report(const Runs& runs) {
  const auto ours = runs.RealNanoseconds("ListToHeldBadges");
  const auto naive = runs.RealNanoseconds("OneRequestPerFile");
  const auto socket = runs.RealNanoseconds("LimitSocketTransfer");
  const auto copy = runs.RealNanoseconds("LimitCopy");
  const auto signal = runs.RealNanoseconds("LimitPackedSignal");
  std::optional<double> limits;
  if (socket && copy && signal) limits = *socket + *copy + *signal;
  ReportGoal("10,000 badges from list to client, against one request per file", Bound::kAtLeast, 20,
             Quotient(naive, ours), "x");
  ReportGoal("10,000 badges from list to client, against socket + copy + one signal",
             Bound::kAtMost, 4, Quotient(ours, limits), "x");
  ReportGoal("quiet reload of 10,000 items", Bound::kAtMost, 0,
             runs.Largest("QuietReload", "signals"), "signals");
}

}  // namespace
}  // namespace kelvo::bench

int main(int argc, char** argv) {
  if (argc == 3 && std::string_view(argv[1]) == kelvo::bench::kEmit) {
    return kelvo::bench::EmitSignals(std::stoul(argv[2]));
  }
  const int result = kelvo::bench::RunWithGoals(argc, argv, kelvo::bench::Report);
  kelvo::bench::thePath.reset();
  return result;
}
