// What holds the extension's main loop: a burst of changes to single items, and lists of up to a
// million records, in the real process with its loop metered. The client that asks for badges and
// holds what it is told is on a bus of its own.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "bench/bench_file_manager.h"
#include "bench/extension_session.h"
#include "bench/goal.h"
#include "bench/stretch_meter.h"
#include "tests/support/agent_text.h"
#include "tests/support/main_context.h"

namespace kelvo::bench {
namespace {

constexpr std::size_t kShown = 1'000;
constexpr std::size_t kEvents = 5'000;
constexpr char kMetered[] = "--metered-extension";
constexpr std::int64_t kSecond = 1'000'000'000;

std::string NameOf(std::size_t i) { return "Report number " + std::to_string(i) + ".odt"; }

class MeteredLoop {
 public:
  MeteredLoop() {
    for (std::size_t i = 0; i < kShown; ++i) names_.push_back(NameOf(i));
  }

  // Shows a new folder of which the Agent then sends a list of so many records; answers how long
  // that took until the client held the badges of those shown, in seconds.
  double ShowListed(std::size_t records) {
    folder_ = session_.Home() + "/Workplace/" + std::to_string(++folders_);
    manager_.Show(folder_, names_);
    session_.Agent().WaitForRequest(folder_);
    return SendList(records, 0);
  }
  // The folder's list again, with this status.
  double SendList(std::size_t records, int status) {
    const std::string frame = BenchAgent::ListFrame(folder_, ListOf(records, status));
    manager_.signals.clear();
    stretches_.Clear();
    const auto start = std::chrono::steady_clock::now();
    session_.Agent().Send(frame);
    WaitForBadges(std::min(records, kShown));
    const auto end = std::chrono::steady_clock::now();
    Settle();
    longestOfLists_ = std::max(longestOfLists_, stretches_.longest.load());
    return std::chrono::duration<double>(end - start).count();
  }

  // Events that change each shown item several times, sent in so many pieces over three seconds.
  void SendBurst(int pieces) {
    std::vector<std::string> frames(static_cast<std::size_t>(pieces));
    const std::size_t perPiece = kEvents / frames.size();
    for (std::size_t i = 0; i < kEvents; ++i) {
      // Each round of the items brings another status, and the last one the lock.
      const std::size_t round = i / kShown;
      const bool isLast = i + kShown >= kEvents;
      frames[std::min(i / perPiece, frames.size() - 1)] +=
          ItemFrame(NameOf(i % kShown), round % 2 == 0 ? "1" : "0", isLast ? "2" : "0");
    }
    Settle();
    manager_.signals.clear();
    stretches_.Clear();
    for (const std::string& frame : frames) {
      session_.Agent().Send(frame);
      if (pieces > 1) Turn(std::chrono::milliseconds(3000) / pieces);
    }
    Require(test::TurnUntil([this] { return WrongBadges() == 0; }, 60), "badges stay wrong");
    Settle();
  }

  std::size_t WrongBadges() {
    return static_cast<std::size_t>(std::count_if(
        names_.begin(), names_.end(),
        [this](const std::string& name) { return manager_.BadgeOf(folder_ + "/" + name) != '4'; }));
  }
  // The most signals of the folder within a second.
  std::size_t SignalsPerSecond() const {
    std::size_t most = 0;
    for (const auto& first : manager_.signals) {
      const auto isNear = [&](const auto& other) {
        return other.badges > 0 && other.heldAt >= first.heldAt &&
               other.heldAt < first.heldAt + kSecond;
      };
      if (first.badges == 0) continue;
      most = std::max(most, static_cast<std::size_t>(std::count_if(
                                manager_.signals.begin(), manager_.signals.end(), isNear)));
    }
    return most;
  }
  const Stretches& Held() const { return stretches_; }
  // While lists came, since this was asked for.
  std::int64_t TakeLongestOfLists() { return std::exchange(longestOfLists_, 0); }

 private:
  static std::string ListOf(std::size_t count, int status) {
    std::string text = test::NumberText(static_cast<long long>(count));
    for (std::size_t i = 0; i < count; ++i) {
      text += test::RecordText({.name = NameOf(i),
                                .status = status,
                                .modifiedBy = "Somebody Else",
                                .fileId = "F" + std::to_string(i),
                                .itemId = static_cast<long long>(i)});
    }
    return text;
  }
  std::string ItemFrame(const std::string& name, const char* status, const char* lock) const {
    return BenchAgent::EventFrame("sync_item", {{"path", folder_ + "/" + name},
                                                {"file_id", "F" + name},
                                                {"item_id", "7"},
                                                {"status", status},
                                                {"lock", lock},
                                                {"lock_holder", ""},
                                                {"modified_by", "Somebody Else"},
                                                {"locktime", "0"},
                                                {"permissions", "1064"},
                                                {"denied", "0"},
                                                {"folder", "0"}});
  }
  void WaitForBadges(std::size_t count) {
    Require(test::TurnUntil([&] { return manager_.BadgesTold(folder_) >= count; }, 120),
            "the badges do not come");
  }
  // Longer than signals of one folder keep apart.
  static void Settle() { Turn(std::chrono::milliseconds(300)); }
  static void Turn(std::chrono::milliseconds time) {
    const auto end = std::chrono::steady_clock::now() + time;
    while (std::chrono::steady_clock::now() < end) {
      g_main_context_iteration(nullptr, FALSE);
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }

  ExtensionSession session_{[](const std::string& folder) -> std::vector<std::string> {
    return {"/proc/self/exe", kMetered, folder + "/stretches"};
  }};
  Stretches& stretches_ = MapStretches(session_.Folder() + "/stretches");
  BenchFileManager manager_{session_};
  std::vector<std::string> names_;
  std::string folder_;
  int folders_ = 0;
  std::int64_t longestOfLists_ = 0;
};

std::unique_ptr<MeteredLoop> theLoop;

MeteredLoop& Loop() {
  if (theLoop == nullptr) theLoop = std::make_unique<MeteredLoop>();
  return *theLoop;
}

double Milliseconds(std::int64_t nanoseconds) { return static_cast<double>(nanoseconds) / 1e6; }

void ItemBurst(benchmark::State& state) {
  Loop().ShowListed(kShown);
  for ([[maybe_unused]] auto _ : state) Loop().SendBurst(static_cast<int>(state.range(0)));
  state.counters["signals_per_second"] = static_cast<double>(Loop().SignalsPerSecond());
  state.counters["wrong"] = static_cast<double>(Loop().WrongBadges());
  state.counters["longest_ms"] = Milliseconds(Loop().Held().longest);
  state.counters["worked_ms"] = Milliseconds(Loop().Held().total);
  state.SetItemsProcessed(static_cast<std::int64_t>(kEvents));
}
BENCHMARK(ItemBurst)->Arg(1)->Arg(200)->Iterations(1)->Unit(benchmark::kMillisecond);

void LargeList(benchmark::State& state) {
  const auto records = static_cast<std::size_t>(state.range(0));
  Loop().TakeLongestOfLists();
  for ([[maybe_unused]] auto _ : state) state.SetIterationTime(Loop().ShowListed(records));
  state.counters["longest_ms"] = Milliseconds(Loop().TakeLongestOfLists());
  // In place of what there is, which has to go; all badges are others.
  Loop().SendList(records, 1);
  state.counters["longest_again_ms"] = Milliseconds(Loop().TakeLongestOfLists());
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(LargeList)->Arg(1'000)->Iterations(20)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(LargeList)->Arg(10'000)->Iterations(5)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(LargeList)->Arg(1'000'000)->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);

void Report(const Runs& runs) {
  for (const char* burst : {"ItemBurst/1", "ItemBurst/200"}) {
    const std::string what = burst == std::string_view("ItemBurst/1")
                                 ? "5,000 sync_item events at once: "
                                 : "5,000 sync_item events over 3 s: ";
    ReportGoal(what + "signals a second", Bound::kAtMost, 20,
               runs.Counter(burst, "signals_per_second"), "");
    ReportGoal(what + "wrong badges at the end", Bound::kAtMost, 0, runs.Counter(burst, "wrong"),
               "");
    ReportGoal(what + "main loop held at a stretch", Bound::kAtMost, 5,
               runs.Counter(burst, "longest_ms"), "ms");
  }
  const auto small = runs.RealNanoseconds("LargeList/1000");
  const auto large = runs.RealNanoseconds("LargeList/1000000");
  if (small && large) {
    ReportGoal("a list of 1,000,000 records: time per record against 1,000", Bound::kAtMost, 1.5,
               *large / 1e6 / (*small / 1e3), "x");
  }
  ReportGoal("a list of 1,000,000 records: main loop held at a stretch", Bound::kAtMost, 50,
             runs.Counter("LargeList/1000000", "longest_ms"), "ms");
  ReportGoal("the same again, with other badges: main loop held at a stretch", Bound::kAtMost, 50,
             runs.Counter("LargeList/1000000", "longest_again_ms"), "ms");
}

}  // namespace
}  // namespace kelvo::bench

int main(int argc, char** argv) {
  if (argc == 3 && std::string_view(argv[1]) == kelvo::bench::kMetered) {
    return kelvo::bench::RunMeteredExtension(argv[2]);
  }
  const int result = kelvo::bench::RunWithGoals(argc, argv, kelvo::bench::Report);
  kelvo::bench::theLoop.reset();
  return result;
}
