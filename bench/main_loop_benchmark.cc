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
#include "bench/steady_queries.h"
#include "bench/stretch_meter.h"
#include "tests/support/agent_text.h"
#include "tests/support/main_context.h"

namespace kelvo::bench {
namespace {

constexpr std::size_t kShown = 1'000;
constexpr std::size_t kNew = 250;  // items beside these that only events tell of
constexpr std::size_t kEvents = 5'000;
constexpr std::size_t kMillion = 1'000'000;
constexpr guint kPatience = 10;  // seconds for the last badges of a burst
constexpr char kMetered[] = "--metered-extension";
constexpr std::int64_t kSecond = 1'000'000'000;

std::string NameOf(std::size_t i) { return "Report number " + std::to_string(i) + ".odt"; }
std::string NewNameOf(std::size_t i) { return "Another name " + std::to_string(i) + ".odt"; }

class MeteredLoop {
 public:
  // Shows a new folder: so many items that the Agent lists first, and so many that it does not.
  void Show(std::size_t listed, std::size_t others = 0) {
    folder_ = session_.Home() + "/Workplace/" + std::to_string(++folders_);
    names_.clear();
    for (std::size_t i = 0; i < listed; ++i) names_.push_back(NameOf(i));
    for (std::size_t i = 0; i < others; ++i) names_.push_back(NewNameOf(i));
    listed_ = listed;
    manager_.Show(folder_, names_);
    session_.Agent().WaitForRequest(folder_);
  }
  // The folder's list, with this status of all records; answers how long it took until the client
  // held the badges of those shown, in seconds.
  double SendList(std::size_t records, int status) {
    const std::string frame = BenchAgent::ListFrame(folder_, ListOf(records, status));
    manager_.signals.clear();
    stretches_.Clear();
    const std::int64_t before = session_.ProcessorTime();
    const auto start = std::chrono::steady_clock::now();
    session_.Agent().Send(frame);
    Require(test::TurnUntil([&] { return manager_.BadgesTold(folder_) >= listed_; }, 120),
            "the badges do not come");
    const auto end = std::chrono::steady_clock::now();
    const std::string& last = names_[std::min(listed_, BadgeStore::kMaxItems) - 1];
    Require(manager_.BadgeOf(folder_ + "/" + last) != kNoBadge, "a badge is not held");
    Settle();
    processorTime_ += session_.ProcessorTime() - before;
    longestOfLists_ = std::max(longestOfLists_, stretches_.longest.load());
    return std::chrono::duration<double>(end - start).count();
  }

  // Events that change each shown item several times, sent in so many pieces over three seconds.
  void SendBurst(int pieces) {
    std::vector<std::string> frames(static_cast<std::size_t>(pieces));
    const std::size_t perPiece = kEvents / frames.size();
    for (std::size_t i = 0; i < kEvents; ++i) {
      // Each round of the items brings another status, and the last one the lock.
      const std::size_t round = i / names_.size();
      const bool isLast = i + names_.size() >= kEvents;
      frames[std::min(i / perPiece, frames.size() - 1)] +=
          ItemFrame(i % names_.size(), round % 2 == 0 ? "1" : "0", isLast ? "2" : "0");
    }
    Settle();
    manager_.signals.clear();
    stretches_.Clear();
    for (const std::string& frame : frames) {
      session_.Agent().Send(frame);
      if (pieces > 1) Turn(std::chrono::milliseconds(3000) / pieces);
    }
    (void)test::TurnUntil([this] { return WrongBadges() == 0; }, kPatience);
    Settle();
  }

  std::size_t WrongBadges() {
    return static_cast<std::size_t>(std::count_if(
        names_.begin(), names_.end(),
        [this](const std::string& name) { return manager_.BadgeOf(folder_ + "/" + name) != '4'; }));
  }
  // Queries about what is shown now.
  std::unique_ptr<SteadyQueries> AskSteadily() const {
    std::string packed;
    for (const std::string& name : names_) packed += name + '\0';
    return std::make_unique<SteadyQueries>(session_, folder_, packed);
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
  // The extension's, for lists since this was asked for.
  std::int64_t TakeProcessorTime() { return std::exchange(processorTime_, 0); }

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
  // Of the names that are new every other is that of an item which the list has had under another
  // name; those lie behind the shown ones.
  std::string ItemFrame(std::size_t place, const char* status, const char* lock) const {
    std::size_t id = place;
    if (place >= listed_ && place % 2 == 0) id = kMillion + place;
    return BenchAgent::EventFrame("sync_item", {{"path", folder_ + "/" + names_[place]},
                                                {"file_id", "F" + std::to_string(id)},
                                                {"item_id", std::to_string(id)},
                                                {"status", status},
                                                {"lock", lock},
                                                {"lock_holder", ""},
                                                {"modified_by", "Somebody Else"},
                                                {"locktime", "0"},
                                                {"permissions", "1064"},
                                                {"denied", "0"},
                                                {"folder", "0"}});
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
  std::string folder_;
  std::vector<std::string> names_;  // those shown, the listed ones first
  std::size_t listed_ = 0;
  int folders_ = 0;
  std::int64_t longestOfLists_ = 0;
  std::int64_t processorTime_ = 0;
};

std::unique_ptr<MeteredLoop> theLoop;

MeteredLoop& Loop() {
  if (theLoop == nullptr) theLoop = std::make_unique<MeteredLoop>();
  return *theLoop;
}

double Milliseconds(std::int64_t nanoseconds) { return static_cast<double>(nanoseconds) / 1e6; }

void ItemBurst(benchmark::State& state) {
  Loop().Show(kShown, kNew);
  Loop().SendList(static_cast<std::size_t>(state.range(1)), 0);
  for ([[maybe_unused]] auto _ : state) Loop().SendBurst(static_cast<int>(state.range(0)));
  state.counters["signals_per_second"] = static_cast<double>(Loop().SignalsPerSecond());
  state.counters["wrong"] = static_cast<double>(Loop().WrongBadges());
  state.counters["longest_ms"] = Milliseconds(Loop().Held().longest);
  state.counters["worked_ms"] = Milliseconds(Loop().Held().total);
  state.SetItemsProcessed(static_cast<std::int64_t>(kEvents));
}
// The largest folder is one whose order by item id is made by the first event under a new name.
BENCHMARK(ItemBurst)
    ->Args({1, 2'000})
    ->Args({200, 2'000})
    ->Args({1, 19'000})
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

// A list of so many records, of which so many are shown.
void LargeList(benchmark::State& state) {
  const auto records = static_cast<std::size_t>(state.range(0));
  Loop().TakeLongestOfLists();
  Loop().TakeProcessorTime();
  for ([[maybe_unused]] auto _ : state) {
    Loop().Show(static_cast<std::size_t>(state.range(1)));
    state.SetIterationTime(Loop().SendList(records, 0));
  }
  state.counters["longest_ms"] = Milliseconds(Loop().TakeLongestOfLists());
  state.counters["worked_ns_each"] = static_cast<double>(Loop().TakeProcessorTime()) /
                                     static_cast<double>(state.iterations() * state.range(0));
  // In place of what there is, which has to go; all badges are others.
  Loop().SendList(records, 1);
  state.counters["longest_again_ms"] = Milliseconds(Loop().TakeLongestOfLists());
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
// Half of a million is what one client holds at most. A list of 1,000 takes little but what one of
// any length does; beside one of 10,000 the rest shows.
BENCHMARK(LargeList)
    ->Args({1'000, 500})
    ->Args({10'000, 5'000})
    ->Iterations(20)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(LargeList)
    ->Args({kMillion, 1'000})
    ->Args({kMillion, kMillion / 2})
    ->Args({kMillion, kMillion})
    ->Iterations(1)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

void QueriesDuringLargeList(benchmark::State& state) {
  Loop().Show(kShown);
  Loop().SendList(kShown, 0);
  const auto queries = Loop().AskSteadily();
  Loop().Show(kShown);
  for ([[maybe_unused]] auto _ : state) Loop().SendList(kMillion, 0);
  state.counters["answers"] = queries->Answers();
  state.counters["longest_ms"] = Milliseconds(queries->Longest());
}
BENCHMARK(QueriesDuringLargeList)->Iterations(1)->Unit(benchmark::kMillisecond);

void ReportBurst(const Runs& runs, const std::string& burst, const std::string& told) {
  const std::string what = "5,000 sync_item events " + told + ": ";
  ReportGoal(what + "signals a second", Bound::kAtMost, 20,
             runs.Largest(burst, "signals_per_second"), "");
  ReportGoal(what + "wrong badges at the end", Bound::kAtMost, 0, runs.Largest(burst, "wrong"), "");
  ReportGoal(what + "main loop held at a stretch", Bound::kAtMost, 5,
             runs.Largest(burst, "longest_ms"), "ms");
}

void ReportStretches(const Runs& runs, const std::string& list, const std::string& told) {
  const std::string what = "a list of 1,000,000 records, " + told + ": main loop held at a stretch";
  ReportGoal(what, Bound::kAtMost, 50, runs.Largest(list, "longest_ms"), "ms");
  ReportGoal(what + ", in place of another", Bound::kAtMost, 50,
             runs.Largest(list, "longest_again_ms"), "ms");
}

void Report(const Runs& runs) {
  ReportBurst(runs, "ItemBurst/1/2000", "at once");
  ReportBurst(runs, "ItemBurst/200/2000", "over 3 s");
  ReportBurst(runs, "ItemBurst/1/19000", "at once, folder of 19,000");
  const auto million = Quotient(runs.RealNanoseconds("LargeList/1000000/500000"), 1e6);
  const auto thousand = Quotient(runs.RealNanoseconds("LargeList/1000/500"), 1e3);
  const std::string list = "a list of 1,000,000 records, half shown: ";
  ReportGoal(list + "time per record against 1,000", Bound::kAtMost, 1.5,
             Quotient(million, thousand), "x");
  ReportGoal(list + "processor time per record against 10,000", Bound::kAtMost, 1.5,
             Quotient(runs.Counter("LargeList/1000000/500000", "worked_ns_each"),
                      runs.Counter("LargeList/10000/5000", "worked_ns_each")),
             "x");
  ReportStretches(runs, "LargeList/1000000/1000", "1,000 shown");
  ReportStretches(runs, "LargeList/1000000/1000000", "all asked for");
  ReportGoal("a list of 1,000,000 records: a query meanwhile waits", Bound::kAtMost, 50,
             runs.Largest("QueriesDuringLargeList", "longest_ms"), "ms");
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
