// What a plug-in itself adds to a file manager's question for one file: the look-up in its table,
// and that the file manager's object is held. It must stay below 5 microseconds and allocate
// nothing: a folder of 5,000 files asks 5,000 times, and again at each change.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "bench/allocations.h"
#include "bench/goal.h"
#include "hosts/client/badge_store.h"
#include "hosts/gtk/local_path.h"
#include "platform/linux/glib_ptr.h"

namespace kelvo {
namespace {

class SteadyClock : public Clock {
 public:
  std::int64_t Now() const override { return 0; }
  std::chrono::milliseconds Monotonic() const override {
    return skipped + std::chrono::duration_cast<std::chrono::milliseconds>(
                         std::chrono::steady_clock::now().time_since_epoch());
  }
  std::chrono::milliseconds skipped{0};
};

std::size_t Count(const std::string& names) {
  return static_cast<std::size_t>(std::count(names.begin(), names.end(), '\0'));
}

// An extension that answers at once that everything is in sync.
class InSync : public BadgeStore::Surroundings {
 public:
  void BeginObserving(const std::string&) override {}
  void EndObserving(const std::string&) override {}
  void RequestBadges(const std::string& folder, const std::string& names,
                     std::uint64_t ticket) override {
    asked.push_back({folder, ticket, Count(names)});
  }
  void DescribeItems(const std::string& folder, const std::string& names,
                     std::uint64_t ticket) override {
    described.push_back({folder, ticket, Count(names)});
  }
  void BadgeChanged(const std::string&, const std::string&) override {}
  void WorkSoon() override {}
  void WorkAfter(std::chrono::milliseconds) override {}

  // False when nothing was asked.
  bool AnswerAll(BadgeStore& store) {
    const auto badges = std::exchange(asked, {});
    const auto descriptions = std::exchange(described, {});
    for (const Request& call : badges) {
      store.OnAnswer(call.folder, call.ticket, std::string(call.count, '1'));
    }
    for (const Request& call : descriptions) {
      const std::vector<std::uint32_t> which(call.count, 1);
      const DescribedItems answer{{{}, {"In sync", "", "Full Access"}}, which};
      store.OnDescribed(call.folder, call.ticket, &answer);
    }
    return !badges.empty() || !descriptions.empty();
  }

  struct Request {
    std::string folder;
    std::uint64_t ticket;
    std::size_t count;
  };
  std::vector<Request> asked, described;
};

std::vector<std::string> Paths(std::int64_t count) {
  std::vector<std::string> paths;
  for (std::int64_t i = 0; i < count; ++i) {
    paths.push_back("/home/somebody/Workplace/A project/Documents/Report number " +
                    std::to_string(i) + ".odt");
  }
  return paths;
}

// The table of a plug-in that knows all these files.
class KnownFiles {
 public:
  explicit KnownFiles(const std::vector<std::string>& paths) : store_(clock_, extension_) {
    store_.ExtensionAppeared({"/home/somebody/Workplace"});
    for (const std::string& path : paths) store_.Retain(store_.Lookup(path).item);
    for (store_.Work(); extension_.AnswerAll(store_); store_.Work()) {
      clock_.skipped += BadgeStore::kPace;
    }
  }
  BadgeStore& Store() { return store_; }

 private:
  SteadyClock clock_;
  InSync extension_;
  BadgeStore store_;
};

// What update_file_info does apart from the file manager's own functions: the path of the location,
// the look-up, and whether the file's object is tied to the item.
void UpdateOfKnownFile(benchmark::State& state) {
  const std::vector<std::string> paths = Paths(state.range(0));
  KnownFiles files(paths);
  std::vector<GObjectPtr<GFile>> locations;
  const GQuark quark = g_quark_from_static_string("kelvo-benchmark-item");
  for (const std::string& path : paths) {
    locations.emplace_back(g_file_new_for_path(path.c_str()));
    g_object_set_qdata(G_OBJECT(locations.back().get()), quark, files.Store().Lookup(path).item);
  }
  std::size_t at = 0;
  const bench::Allocations before = bench::AllocationsSoFar();
  for (auto _ : state) {
    GFile* const location = locations[at].get();
    const BadgeStore::Answer answer = files.Store().Lookup(LocalPath(location));
    if (g_object_get_qdata(G_OBJECT(location), quark) != answer.item) {
      state.SkipWithError("an item is another one");
    }
    if (answer.badge != '1') state.SkipWithError("a badge is missing");
    if (answer.description->state.empty()) state.SkipWithError("a description is missing");
    if (++at == paths.size()) at = 0;
  }
  state.counters["allocations"] = static_cast<double>((bench::AllocationsSoFar() - before).count);
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(UpdateOfKnownFile)->Arg(100)->Arg(10'000)->Arg(100'000);

void NewFile(benchmark::State& state) {
  const std::vector<std::string> paths = Paths(state.range(0));
  const SteadyClock clock;
  for (auto _ : state) {
    InSync extension;
    BadgeStore store(clock, extension);
    store.ExtensionAppeared({"/home/somebody/Workplace"});
    for (const std::string& path : paths) benchmark::DoNotOptimize(store.Lookup(path));
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(NewFile)->Arg(10'000);

// The plain way: one ordered map of whole paths.
void BaselineMapOfPaths(benchmark::State& state) {
  const std::vector<std::string> paths = Paths(state.range(0));
  std::map<std::string, char> badges;
  for (const std::string& path : paths) badges[path] = '1';
  std::size_t at = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(badges.find(paths[at])->second);
    if (++at == paths.size()) at = 0;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BaselineMapOfPaths)->Arg(100)->Arg(10'000)->Arg(100'000);

void ReportGoals(const bench::Runs& runs) {
  using bench::Bound;
  const std::string name = "UpdateOfKnownFile/100000";
  bench::ReportGoal("GTK plug-in: own part of update_file_info, folder of 100,000", Bound::kAtMost,
                    5, bench::Quotient(runs.RealNanoseconds(name), 1000), "us");
  bench::ReportGoal("GTK plug-in: own allocations of repeated update_file_info", Bound::kAtMost, 0,
                    runs.Largest(name, "allocations"), "");
}

}  // namespace
}  // namespace kelvo

int main(int argc, char** argv) {
  return kelvo::bench::RunWithGoals(argc, argv, kelvo::ReportGoals);
}
