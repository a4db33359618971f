#include "bench/gate/AllocationCount.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {
std::atomic<std::uint64_t> allocations = 0;
}  // namespace

std::uint64_t ks::gate::allocationCount() { return allocations; }

// Every other form of `new` and `delete` leads here, except those for larger alignments.
void* operator new(std::size_t size) {
  ++allocations;
  if (void* const memory = std::malloc(size > 0 ? size : 1)) return memory;
  throw std::bad_alloc();
}

void operator delete(void* memory) noexcept { std::free(memory); }

void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
