// The extension's own part of a context menu, of files in a folder of 10,000 that is in the cache:
// from the selection to the lines. One file must take less than a millisecond, 1,000 less than
// five, and more in proportion. What is left for the bus is not measured.
//
// Baseline: the status of each item, which is the first thing that a menu asks.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "agent/notification_module.h"
#include "agent/notifications_bridge.h"
#include "core/finder_configuration.h"
#include "tests/support/started_extension.h"
#include "ui/menu_context.h"

namespace kelvo::test {
namespace {

constexpr int kFiles = 10'000;

// The extension over the fakes of its platform; the files lie on disk, since a menu asks the file
// system what is a folder.
class MenuExtension : public StartedExtension {
 public:
  MenuExtension() {
    WriteUserInfo("<key>sync_file_locking</key><true/><key>public_share</key><true/>");
    Configure();
    fake_.transport.Deliver(kConnectionStatusName, {{"status", PropertyList(4)}});
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
  std::size_t BuildMenu(const std::vector<std::string>& items) {
    Menu menu;
    KelvoMenuContext context({cache(), *CSyncApi::m_Instance, *CNotificationModule::m_Instance,
                              *CFinderConfiguration::m_Instance, fake_.clock, fake_.runLoop,
                              fake_.http, fake_.desktop, fake_.dialogs});
    context.setMenu(&menu);
    context.setInsertSeparator(false);
    context.setSynchronous(true);
    context.setSelectedItems(items);
    return menu.numberOfItems();
  }

 private:
  void TestBody() override {}

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

void StatusOfCachedFiles(benchmark::State& state) {
  MenuExtension& extension = Extension();
  const std::vector<std::string> items = extension.Files(state.range(0));
  for ([[maybe_unused]] auto _ : state) {
    for (const std::string& item : items) {
      benchmark::DoNotOptimize(extension.Cache().GetStatus(item));
    }
  }
  CountItems(state);
}
BENCHMARK(StatusOfCachedFiles)->Arg(1)->Arg(1'000)->Arg(10'000)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace kelvo::test
