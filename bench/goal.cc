#include "bench/goal.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <utility>

namespace kelvo::bench {
namespace {

// Shows each run as usual and keeps what it took.
class KeepingReporter : public benchmark::ConsoleReporter {
 public:
  explicit KeepingReporter(Runs& runs)
      : benchmark::ConsoleReporter(benchmark::ConsoleReporter::OO_Tabular), runs_(runs) {}

  void ReportRuns(const std::vector<Run>& reports) override {
    benchmark::ConsoleReporter::ReportRuns(reports);
    for (const Run& run : reports) {
      if (run.error_occurred) {
        failed_ = true;
      } else if (run.run_type == Run::RT_Iteration) {
        Keep(run);
      }
    }
  }

  bool HasFailed() const { return failed_; }

 private:
  void Keep(const Run& run) {
    // Without what the library appends for repetitions and the like.
    benchmark::BenchmarkName name = run.run_name;
    name.repetitions.clear();
    name.iterations.clear();
    name.min_time.clear();
    name.min_warmup_time.clear();
    name.time_type.clear();
    Runs::Values& values = runs_.of[name.str()];
    const double nanoseconds = 1e9 / benchmark::GetTimeUnitMultiplier(run.time_unit);
    values.real.push_back(run.GetAdjustedRealTime() * nanoseconds);
    values.cpu.push_back(run.GetAdjustedCPUTime() * nanoseconds);
    for (const auto& [counter, value] : run.counters) values.counters[counter].push_back(value);
  }

  Runs& runs_;
  bool failed_ = false;
};

bool Mentions(int argc, char** argv, const std::string& flag) {
  return std::any_of(argv, argv + argc, [&flag](const char* argument) {
    return std::string(argument).starts_with(flag);
  });
}

std::optional<double> MedianOrNothing(const std::vector<double>& values) {
  if (values.empty()) return std::nullopt;
  return Median(values);
}

const std::vector<double>* FindCounter(const Runs& runs, const std::string& name,
                                       const std::string& counter) {
  const auto found = runs.of.find(name);
  if (found == runs.of.end()) return nullptr;
  const auto values = found->second.counters.find(counter);
  return values == found->second.counters.end() ? nullptr : &values->second;
}

}  // namespace

void ReportGoal(const std::string& name, Bound bound, double wanted, double figure,
                const std::string& unit) {
  const bool atLeast = bound == Bound::kAtLeast;
  const bool met = atLeast ? figure >= wanted : figure <= wanted;
  const std::string space = unit.empty() || unit == "x" ? "" : " ";
  std::printf("\nGOAL|%s|%s %.10g%s%s|%.4g%s%s|%s\n", name.c_str(), atLeast ? ">=" : "<=", wanted,
              space.c_str(), unit.c_str(), figure, space.c_str(), unit.c_str(),
              met ? "met" : "MISSED");
  std::fflush(stdout);
}

void ReportGoal(const std::string& name, Bound bound, double wanted, std::optional<double> figure,
                const std::string& unit) {
  if (figure) return ReportGoal(name, bound, wanted, *figure, unit);
  const std::string filter = benchmark::GetBenchmarkFilter();
  if (!filter.empty() && filter != ".") return;  // left out
  std::printf("\nGOAL|%s|%.10g|not measured|MISSED\n", name.c_str(), wanted);
  std::fflush(stdout);
}

double Median(std::vector<double> values) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  const std::size_t middle = values.size() / 2;
  if (values.size() % 2 == 1) return values[middle];
  return (values[middle - 1] + values[middle]) / 2;
}

std::optional<double> Quotient(std::optional<double> dividend, std::optional<double> divisor) {
  if (!dividend || !divisor || *divisor <= 0) return std::nullopt;
  return *dividend / *divisor;
}

std::optional<double> Runs::RealNanoseconds(const std::string& name) const {
  const auto found = of.find(name);
  if (found == of.end()) return std::nullopt;
  return MedianOrNothing(found->second.real);
}

std::optional<double> Runs::CpuNanoseconds(const std::string& name) const {
  const auto found = of.find(name);
  if (found == of.end()) return std::nullopt;
  return MedianOrNothing(found->second.cpu);
}

std::optional<double> Runs::Counter(const std::string& name, const std::string& counter) const {
  const std::vector<double>* values = FindCounter(*this, name, counter);
  return values == nullptr ? std::nullopt : MedianOrNothing(*values);
}

std::optional<double> Runs::Largest(const std::string& name, const std::string& counter) const {
  const std::vector<double>* values = FindCounter(*this, name, counter);
  if (values == nullptr) return std::nullopt;
  return *std::max_element(values->begin(), values->end());
}

std::optional<double> Runs::Ratio(const std::string& slower, const std::string& faster) const {
  return Quotient(CpuNanoseconds(slower), CpuNanoseconds(faster));
}

int RunWithGoals(int argc, char** argv, const std::function<void(const Runs&)>& report) {
  std::vector<std::string> defaults;
  if (!Mentions(argc, argv, "--benchmark_repetitions")) {
    defaults.emplace_back("--benchmark_repetitions=5");
  }
  if (!Mentions(argc, argv, "--benchmark_enable_random_interleaving")) {
    defaults.emplace_back("--benchmark_enable_random_interleaving=true");
  }
  if (!Mentions(argc, argv, "--benchmark_min_time")) {
    defaults.emplace_back("--benchmark_min_time=0.2");
  }
  if (!Mentions(argc, argv, "--benchmark_display_aggregates_only")) {
    defaults.emplace_back("--benchmark_display_aggregates_only=false");
  }
  std::vector<char*> arguments(argv, argv + argc);
  for (std::string& flag : defaults) arguments.push_back(flag.data());
  int count = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 1;
  Runs runs;
  KeepingReporter reporter(runs);
  benchmark::RunSpecifiedBenchmarks(&reporter);
  report(runs);
  benchmark::Shutdown();
  return reporter.HasFailed() ? 1 : 0;
}

}  // namespace kelvo::bench
