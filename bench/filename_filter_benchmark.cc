// File names per second through the seven category lists: the filter list, and asking fnmatch for
// one pattern after another as its baseline.
#include <benchmark/benchmark.h>
#include <fnmatch.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "settings/filter_categories.h"
#include "settings/filter_list.h"

namespace kelvo {
namespace {

constexpr int kNames = 1000;

// Of usual length; the extensions come from all over the lists, and every other one from none.
const std::vector<std::string>& Names() {
  static const auto* const names = [] {
    std::vector<std::string_view> patterns;
    for (const FilterCategory& category : FilterCategories()) {
      patterns.insert(patterns.end(), category.patterns.begin(), category.patterns.end());
    }
    auto* const made = new std::vector<std::string>;
    for (int i = 0; i < kNames; ++i) {
      std::string name = "Quarterly report " + std::to_string(i);
      name += i % 2 == 0 ? ".unlisted" : patterns[i * 7 % patterns.size()].substr(1);
      made->push_back(name);
    }
    return made;
  }();
  return *names;
}

void SetCounters(benchmark::State& state, int included) {
  if (included == 0 || included == kNames) state.SkipWithError("no mixture of names");
  state.SetItemsProcessed(state.iterations() * kNames);
}

void AskFnmatchForEachPattern(benchmark::State& state) {
  struct Row {
    std::string pattern;
    std::uint32_t type;
  };
  std::vector<Row> rows;
  for (const FilterCategory& category : FilterCategories()) {
    for (const auto pattern : category.patterns)
      rows.push_back({std::string(pattern), category.type});
  }
  int included = 0;
  for ([[maybe_unused]] auto _ : state) {
    included = 0;
    for (const std::string& name : Names()) {
      for (const Row& row : rows) {
        if (::fnmatch(row.pattern.c_str(), name.c_str(), FNM_CASEFOLD) != 0) continue;
        benchmark::DoNotOptimize(row.type);
        ++included;
        break;
      }
    }
  }
  SetCounters(state, included);
}
BENCHMARK(AskFnmatchForEachPattern)->Unit(benchmark::kMicrosecond);

void AskFilterList(benchmark::State& state) {
  kelvo_FilterList list(true);
  for (const FilterCategory& category : FilterCategories()) {
    list.addFilters(category.type, category.patterns);
  }
  int included = 0;
  for ([[maybe_unused]] auto _ : state) {
    included = 0;
    for (const std::string& name : Names()) {
      std::uint32_t type = 0;
      if (list.isIncluded(name, &type)) ++included;
      benchmark::DoNotOptimize(type);
    }
  }
  SetCounters(state, included);
}
BENCHMARK(AskFilterList)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace kelvo
