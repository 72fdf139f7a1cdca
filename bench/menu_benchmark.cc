// The extension's own part of a context menu, of files in a folder of 10,000 that is in the cache:
// from the selection to the lines. It grows in proportion to the files, with one look-up for each.
// What is left for the bus is not measured.
//
// Baselines: one look-up of each item, and what the file system takes to tell that it is no folder,
// which a menu with lines about locks must ask.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "agent/notification_module.h"
#include "agent/notifications_bridge.h"
#include "base/file_system.h"
#include "bench/goal.h"
#include "core/finder_configuration.h"
#include "platform/clock.h"
#include "tests/support/started_extension.h"
#include "ui/menu_context.h"

namespace kelvo::test {
namespace {

constexpr int kFiles = 10'000;

class CountingClock : public Clock {
 public:
  explicit CountingClock(const Clock& clock) : clock_(clock) {}
  std::int64_t Now() const override {
    ++readings;
    return clock_.Now();
  }
  std::chrono::milliseconds Monotonic() const override { return clock_.Monotonic(); }

  mutable std::int64_t readings = 0;

 private:
  const Clock& clock_;
};

// The extension over the fakes of its platform; the files lie on disk, since a menu asks the file
// system what is a folder.
class MenuExtension : public StartedExtension {
 public:
  MenuExtension() {
    WriteUserInfo("<key>sync_file_locking</key><true/><key>public_share</key><true/>");
    Configure();
    fake_.transport.Deliver(kConnectionStatusName, {{"status", PropertyList(4)}});
    counted_.Initialize(CFinderConfiguration::m_Instance, CSyncApi::m_Instance);
    std::vector<ListRecord> records;
    for (int i = 0; i < kFiles; ++i) {
      const std::string number = std::to_string(i);
      records.push_back({.name = "Report number " + number + ".odt", .fileId = "F" + number});
      files_.push_back(Home("Work/") + records.back().name);
      WriteFile(files_.back(), "");
    }
    SendList(Home("Work"), records);
  }

  std::vector<std::string> Files(std::int64_t count) const {
    return {files_.begin(), files_.begin() + static_cast<std::ptrdiff_t>(count)};
  }
  CSyncCache& Cache() { return cache(); }
  // How many lines it has.
  std::size_t BuildMenu(const std::vector<std::string>& items) { return BuildMenu(items, cache()); }
  // How often the cache is looked into for the menu: each look-up reads the clock once.
  std::int64_t LookUps(const std::vector<std::string>& items) {
    countingClock_.readings = 0;
    (void)BuildMenu(items, counted_);
    return countingClock_.readings;
  }

 private:
  void TestBody() override {}

  std::size_t BuildMenu(const std::vector<std::string>& items, CSyncCache& cache) {
    Menu menu;
    KelvoMenuContext context({cache, *CSyncApi::m_Instance, *CNotificationModule::m_Instance,
                              *CFinderConfiguration::m_Instance, fake_.clock, fake_.runLoop,
                              fake_.http, fake_.desktop, fake_.dialogs});
    context.setMenu(&menu);
    context.setInsertSeparator(false);
    context.setSynchronous(true);
    context.setSelectedItems(items);
    return menu.numberOfItems();
  }

  const CountingClock countingClock_{fake_.clock};
  CSyncCache& counted_ = *new CSyncCache(fake_.runLoop, countingClock_);  // as ever, for good
  std::vector<std::string> files_;
};

// One for all: it takes long to make so many files.
MenuExtension& Extension() {
  static MenuExtension extension;
  return extension;
}

void CountItems(benchmark::State& state) {
  const std::int64_t items = state.range(0);
  state.SetItemsProcessed(state.iterations() * items);
  state.counters["per_item"] =
      benchmark::Counter(static_cast<double>(items), benchmark::Counter::kIsIterationInvariantRate |
                                                         benchmark::Counter::kInvert);
}

void MenuOfCachedFiles(benchmark::State& state) {
  MenuExtension& extension = Extension();
  const std::vector<std::string> items = extension.Files(state.range(0));
  for ([[maybe_unused]] auto _ : state) {
    if (extension.BuildMenu(items) >= 3) continue;
    state.SkipWithError("a menu without its lines");
    break;
  }
  CountItems(state);
}
BENCHMARK(MenuOfCachedFiles)->Arg(1)->Arg(1'000)->Arg(10'000)->Unit(benchmark::kMicrosecond);

void LookUpsOfCachedFiles(benchmark::State& state) {
  MenuExtension& extension = Extension();
  const std::vector<std::string> items = extension.Files(state.range(0));
  for ([[maybe_unused]] auto _ : state) {
    for (const std::string& item : items) {
      benchmark::DoNotOptimize(extension.Cache().GetItem(item));
    }
  }
  CountItems(state);
}
BENCHMARK(LookUpsOfCachedFiles)->Arg(1)->Arg(1'000)->Arg(10'000)->Unit(benchmark::kMicrosecond);

void FileSystemOnFiles(benchmark::State& state) {
  const std::vector<std::string> items = Extension().Files(state.range(0));
  for ([[maybe_unused]] auto _ : state) {
    for (const std::string& item : items) benchmark::DoNotOptimize(IsDirectory(item));
  }
  CountItems(state);
}
BENCHMARK(FileSystemOnFiles)->Arg(1)->Arg(1'000)->Arg(10'000)->Unit(benchmark::kMicrosecond);

void ReportGoals(const bench::Runs& runs) {
  using bench::Bound;
  const auto ratio = runs.Ratio("MenuOfCachedFiles/10000", "MenuOfCachedFiles/1000");
  std::optional<double> lookUps;
  if (ratio) lookUps = static_cast<double>(Extension().LookUps(Extension().Files(kFiles)));
  bench::ReportGoal("menu for 10,000 items against 1,000, time per item", Bound::kAtMost, 1.5,
                    bench::Quotient(ratio, 10), "x");
  bench::ReportGoal("menu: look-ups in the cache per item", Bound::kAtMost, 1,
                    bench::Quotient(lookUps, kFiles), "");
}

}  // namespace
}  // namespace kelvo::test

int main(int argc, char** argv) {
  return kelvo::bench::RunWithGoals(argc, argv, kelvo::test::ReportGoals);
}
