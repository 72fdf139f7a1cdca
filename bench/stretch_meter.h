#pragma once

#include <atomic>
#include <cstdint>
#include <string>

namespace kelvo::bench {

// How long a main loop works between two polls, told across processes through a file: what it waits
// for the processor does not count, since that is the other load of the machine.
//
// Threads: one process writes, one reads.
struct Stretches {
  std::atomic<std::int64_t> longest{0};  // nanoseconds
  std::atomic<std::int64_t> total{0};
  std::atomic<std::int64_t> turns{0};

  void Clear() { longest = total = turns = 0; }
};

// Maps the file, which is made if it is not there; for the rest of the process.
Stretches& MapStretches(const std::string& file);

// Runs the extension, with the default main context metered. Answers the exit code.
int RunMeteredExtension(const std::string& file);

}  // namespace kelvo::bench
