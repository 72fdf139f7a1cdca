// What is known of the items of a folder of 10,000, in words, as the bus asks for it: 100,000 items
// must take no more than some tens of milliseconds.
//
// Baseline: the badge of each item, in the same folder.
//
// And what it takes to find out that a list says nothing new of items that were described, in turns
// of the main loop: a figure is the longest of these.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <time.h>

#include <algorithm>
#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "agent/sync_status_list_response.h"
#include "bench/goal.h"
#include "cache/prepared_list.h"
#include "hosts/bus/description_news.h"
#include "tests/support/started_extension.h"
#include "ui/item_words.h"

namespace kelvo::test {
namespace {

constexpr char kFolder[] = "/home/somebody/Workplace/Projects";

class DescribedFolder : public StartedExtension {
 public:
  explicit DescribedFolder(std::int64_t files) {
    for (std::int64_t i = 0; i < files; ++i) {
      const std::string number = std::to_string(i);
      records_.push_back({.name = "Report number " + number + ".odt", .fileId = "F" + number});
      if (i % 100 == 0) records_.back().lock = 1;
      records_.back().lockHolder = "Owner " + std::to_string(i % 1000);
    }
    for (const ListRecord& record : records_) names.push_back(record.name);
    Store();
  }

  // The list as the Agent would send it again.
  CSyncStatusListResponse Store() {
    CSyncStatusListResponse list(nullptr, kFolder,
                                 std::make_shared<const std::string>(ListText(records_)));
    CSyncStatusListResponse walk = list;
    static_cast<void>(cache().StoreList(PrepareList(walk)));
    return list;
  }
  CSyncStatusListResponse StoreWithLast(const std::string& owner) {
    records_.back().lock = 1;
    records_.back().lockHolder = owner;
    return Store();
  }
  WordsOfItems Describe(const std::vector<std::string_view>& items) const {
    return extension_->describeItems(kFolder, items);
  }
  CSyncCache& Cache() { return cache(); }
  const Clock& StandingClock() const { return fake_.clock; }

  std::vector<std::string_view> names;

 private:
  void TestBody() override {}

  std::vector<ListRecord> records_;
};

void DescribeItems(benchmark::State& state) {
  const DescribedFolder folder(state.range(0));
  for ([[maybe_unused]] auto _ : state) {
    if (folder.Describe(folder.names).descriptions.size() > 10) continue;
    state.SkipWithError("words are missing");
    break;
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(DescribeItems)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);

void StatusOfItems(benchmark::State& state) {
  DescribedFolder folder(state.range(0));
  for ([[maybe_unused]] auto _ : state) {
    for (std::string_view name : folder.names) {
      benchmark::DoNotOptimize(
          folder.Cache().PeekStatus(std::string(kFolder) + "/" + std::string(name)));
    }
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(StatusOfItems)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond);

double ProcessorMilliseconds() {
  timespec time;
  ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

// Notes the longest task.
class TimedLoop : public RunLoop {
 public:
  void Post(std::function<void()> task) override { tasks_.push_back(std::move(task)); }
  TimerId After(std::chrono::milliseconds, std::function<void()> task) override {
    Post(std::move(task));
    return 1;
  }
  TimerId Every(std::chrono::milliseconds, std::chrono::milliseconds,
                std::function<void()>) override {
    return 1;
  }
  void Cancel(TimerId) override {}
  bool RunModal(const std::function<bool()>&) override { return false; }
  bool IsCurrent() const override { return true; }

  void Run() {
    for (; !tasks_.empty(); tasks_.pop_front()) {
      const double start = ProcessorMilliseconds();
      tasks_.front()();
      longest = std::max(longest, ProcessorMilliseconds() - start);
    }
  }

  double longest = 0;  // milliseconds of processor time

 private:
  std::deque<std::function<void()>> tasks_;
};

double HeapBytes() {
  const struct mallinfo2 heap = mallinfo2();
  return static_cast<double>(heap.uordblks + heap.hblkhd);
}

void QuietList(benchmark::State& state) {
  DescribedFolder folder(state.range(0));
  TimedLoop loop;
  std::vector<std::string> signals;
  DescriptionNews news(
      loop, folder.StandingClock(),
      [&](const std::string&, const std::vector<std::string_view>& names) {
        return std::as_const(folder).Describe(names);
      },
      [&](const std::string&, const std::string& names) { signals.push_back(names); });
  const WordsOfItems words = folder.Describe(folder.names);
  const double before = HeapBytes();
  news.Ask("client", kFolder);
  news.Answer("client", kFolder, folder.names, words, [](const WordsOfItems&) {});
  state.counters["bytes"] = (HeapBytes() - before) / static_cast<double>(state.range(0));
  const CSyncStatusListResponse list = folder.Store();
  for ([[maybe_unused]] auto _ : state) {
    news.NoteList(list);
    loop.Run();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.counters["signals"] = static_cast<double>(signals.size());
  state.counters["longest"] = loop.longest;
  news.NoteList(folder.StoreWithLast("Somebody Else"));
  loop.Run();
  if (signals.empty() || signals.back() != std::string(folder.names.back()) + '\0') {
    state.SkipWithError("a change is lost");
  }
}
BENCHMARK(QuietList)->Arg(10'000)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);

void Report(const bench::Runs& runs) {
  const std::string million = "QuietList/1000000";
  using bench::Bound;
  bench::ReportGoal("quiet list of 1,000,000 described items", Bound::kAtMost, 0,
                    runs.Largest(million, "signals"), "signals");
  bench::ReportGoal("quiet list of 1,000,000 described items, longest turn", Bound::kAtMost, 5,
                    runs.Largest(million, "longest"), "ms");
  bench::ReportGoal("told descriptions of 1,000,000 items", Bound::kAtMost, 32,
                    runs.Counter(million, "bytes"), "bytes each");
}

}  // namespace
}  // namespace kelvo::test

int main(int argc, char** argv) {
  return kelvo::bench::RunWithGoals(argc, argv, kelvo::test::Report);
}
