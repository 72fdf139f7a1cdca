// What a benchmark takes from the heap: a program that links this counts every operator new.
#pragma once

#include <cstddef>

namespace kelvo::bench {

struct Allocations {
  std::size_t count = 0;
  std::size_t bytes = 0;
  Allocations operator-(const Allocations& before) const {
    return {count - before.count, bytes - before.bytes};
  }
};

// Since the calling thread began; what was given back is not taken off.
Allocations AllocationsSoFar();

}  // namespace kelvo::bench
