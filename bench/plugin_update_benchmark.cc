// What a plug-in itself adds to a file manager's question for one file: the look-up in its table.
// It must stay far below 50 microseconds: a folder of 5,000 files asks 5,000 times.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "hosts/client/badge_store.h"

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

void KnownFile(benchmark::State& state) {
  const std::vector<std::string> paths = Paths(state.range(0));
  SteadyClock clock;
  InSync extension;
  BadgeStore store(clock, extension);
  store.ExtensionAppeared({"/home/somebody/Workplace"});
  for (const std::string& path : paths) store.Lookup(path);
  for (store.Work(); extension.AnswerAll(store); store.Work()) clock.skipped += BadgeStore::kPace;
  std::size_t at = 0;
  for (auto _ : state) {
    const BadgeStore::Answer answer = store.Lookup(paths[at]);
    if (answer.badge != '1') state.SkipWithError("a badge is missing");
    if (answer.description->state.empty()) state.SkipWithError("a description is missing");
    if (++at == paths.size()) at = 0;
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(KnownFile)->Arg(100)->Arg(10'000)->Arg(100'000);

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

}  // namespace
}  // namespace kelvo
