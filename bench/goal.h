#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace kelvo::bench {

enum class Bound { kAtLeast, kAtMost };

// Prints "GOAL|<name>|<wanted>|<figure>|<met or MISSED>" to standard output, in a line of its own;
// scripts/bench gathers these lines. Of repeated runs give the median, since one run tells the load
// of the machine as well; but of what must never happen the largest.
void ReportGoal(const std::string& name, Bound bound, double wanted, double figure,
                const std::string& unit);

// The middle one, of an even number the mean of the two; 0 of none.
double Median(std::vector<double> values);

// Nothing when either is missing or there is no quotient.
std::optional<double> Quotient(std::optional<double> dividend, std::optional<double> divisor);

// What the benchmarks of this program took, per iteration.
class Runs {
 public:
  // Of all repetitions the median; the name as it is printed, such as "KnownFile/100". Nothing
  // for a benchmark that a filter has left out or that has failed.
  std::optional<double> RealNanoseconds(const std::string& name) const;
  std::optional<double> CpuNanoseconds(const std::string& name) const;
  std::optional<double> Counter(const std::string& name, const std::string& counter) const;
  // The same of the worst repetition.
  std::optional<double> Largest(const std::string& name, const std::string& counter) const;
  // How many times longer the first took than the second, by CPU time.
  std::optional<double> Ratio(const std::string& slower, const std::string& faster) const;

  struct Values {
    std::vector<double> real, cpu;
    std::map<std::string, std::vector<double>> counters;
  };
  std::map<std::string, Values> of;
};

// A main function: runs all benchmarks as often and as interleaved as ratios need (the command line
// may say otherwise), then has `report` tell the goals. Answers the program's exit code: 1 when
// a benchmark has failed, whatever the goals.
int RunWithGoals(int argc, char** argv, const std::function<void(const Runs&)>& report);

// The same, when there is a figure. Without one the goal is missed, unless only some benchmarks
// were asked for: what these do not suffice for is not told.
void ReportGoal(const std::string& name, Bound bound, double wanted, std::optional<double> figure,
                const std::string& unit);

}  // namespace kelvo::bench
