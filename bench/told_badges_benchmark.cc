// What it takes to remember which badge every item was told with: a million items that a file
// manager has asked for, in folders of 10,000 and in one. Bytes that the heap has handed out, the
// folders' own included; the names are the asker's.
//
// Baseline: a hash map from name to badge for each folder, which is the plain way.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "bench/goal.h"
#include "hosts/bus/badge_table.h"

namespace kelvo {
namespace {

constexpr std::int64_t kItems = 1'000'000;

class StandingClock : public Clock {
 public:
  std::int64_t Now() const override { return 0; }
  std::chrono::milliseconds Monotonic() const override { return std::chrono::milliseconds(0); }
};

class IdleLoop : public RunLoop {
 public:
  void Post(std::function<void()>) override {}
  TimerId After(std::chrono::milliseconds, std::function<void()>) override { return 1; }
  TimerId Every(std::chrono::milliseconds, std::chrono::milliseconds,
                std::function<void()>) override {
    return 1;
  }
  void Cancel(TimerId) override {}
  bool RunModal(const std::function<bool()>&) override { return false; }
  bool IsCurrent() const override { return true; }
};

struct Folders {
  explicit Folders(std::int64_t itemsOfEach) {
    for (std::int64_t i = 0; i < itemsOfEach; ++i) {
      texts.push_back("Report number " + std::to_string(i) + ".odt");
    }
    names.assign(texts.begin(), texts.end());
    for (std::int64_t i = 0; i < kItems / itemsOfEach; ++i) {
      paths.push_back("/home/somebody/Workplace/Project " + std::to_string(i));
    }
  }
  std::vector<std::string> texts, paths;
  std::vector<std::string_view> names;  // the same in each
};

double HeapBytes() {
  const struct mallinfo2 heap = mallinfo2();
  return static_cast<double>(heap.uordblks + heap.hblkhd);
}

void ToldBadges(benchmark::State& state) {
  const Folders folders(state.range(0));
  IdleLoop loop;
  const StandingClock clock;
  for (auto _ : state) {
    const double before = HeapBytes();
    BadgeTable table(
        loop, clock,
        [](const std::string&, const std::vector<KnownItem>& items) {
          return BadgeTable::Identifiers(items.size(), "1");
        },
        [](const std::string&, const std::string&) {}, [] { return std::uint64_t{0}; });
    for (const std::string& path : folders.paths) {
      (void)table.Ask(":1.1", path, folders.names);
      table.Answer(":1.1", path, folders.names, [](const std::string&) {});
    }
    if (table.Size() != kItems) state.SkipWithError("items are missing");
    state.counters["bytes_per_item"] = (HeapBytes() - before) / kItems;
  }
  state.SetItemsProcessed(state.iterations() * kItems);
}
BENCHMARK(ToldBadges)->Arg(10'000)->Arg(kItems)->Unit(benchmark::kMillisecond);

void BaselineMapsOfNames(benchmark::State& state) {
  const Folders folders(state.range(0));
  for (auto _ : state) {
    const double before = HeapBytes();
    std::unordered_map<std::string, std::unordered_map<std::string, char>> table;
    for (const std::string& path : folders.paths) {
      for (const std::string& name : folders.texts) table[path][name] = '1';
    }
    state.counters["bytes_per_item"] = (HeapBytes() - before) / kItems;
  }
  state.SetItemsProcessed(state.iterations() * kItems);
}
BENCHMARK(BaselineMapsOfNames)->Arg(10'000)->Arg(kItems)->Unit(benchmark::kMillisecond);

void ReportGoals(const bench::Runs& runs) {
  for (const char* size : {"10000", "1000000"}) {
    bench::ReportGoal(
        std::string("told badges of 1,000,000 items, folders of ") + size, bench::Bound::kAtMost,
        32, runs.Counter(std::string("ToldBadges/") + size, "bytes_per_item"), "bytes each");
  }
}

}  // namespace
}  // namespace kelvo

int main(int argc, char** argv) {
  return kelvo::bench::RunWithGoals(argc, argv, kelvo::ReportGoals);
}
