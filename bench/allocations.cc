#include "bench/allocations.h"

#include <cstdlib>
#include <new>

namespace kelvo::bench {
namespace {

thread_local Allocations allocations;

void* Take(std::size_t size) {
  ++allocations.count;
  allocations.bytes += size;
  if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
  throw std::bad_alloc();
}

}  // namespace

Allocations AllocationsSoFar() { return allocations; }

}  // namespace kelvo::bench

void* operator new(std::size_t size) { return kelvo::bench::Take(size); }
void* operator new[](std::size_t size) { return kelvo::bench::Take(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
