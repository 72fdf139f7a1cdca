// What is known of the items of a folder of 10,000, in words, as the bus asks for it: 100,000 items
// must take no more than some tens of milliseconds.
//
// Baseline: the badge of each item, in the same folder.
#include <benchmark/benchmark.h>

#include <string>
#include <string_view>
#include <vector>

#include "tests/support/started_extension.h"
#include "ui/item_words.h"

namespace kelvo::test {
namespace {

constexpr char kFolder[] = "/home/somebody/Workplace/Projects";

class DescribedFolder : public StartedExtension {
 public:
  explicit DescribedFolder(std::int64_t files) {
    std::vector<ListRecord> records;
    for (std::int64_t i = 0; i < files; ++i) {
      const std::string number = std::to_string(i);
      records.push_back({.name = "Report number " + number + ".odt", .fileId = "F" + number});
      if (i % 100 == 0) records.back().lock = 1;
      records.back().lockHolder = "Owner " + std::to_string(i % 1000);
      files_.push_back(records.back().name);
    }
    cache().GetStatus(std::string(kFolder) + "/" + files_.front());
    SendList(kFolder, records);
    names.assign(files_.begin(), files_.end());
  }

  WordsOfItems Describe() const { return extension_->describeItems(kFolder, names); }
  CSyncCache& Cache() { return cache(); }

  std::vector<std::string_view> names;

 private:
  void TestBody() override {}

  std::vector<std::string> files_;
};

void DescribeItems(benchmark::State& state) {
  const DescribedFolder folder(state.range(0));
  for ([[maybe_unused]] auto _ : state) {
    if (folder.Describe().descriptions.size() > 10) continue;
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

}  // namespace
}  // namespace kelvo::test
