#include "tests/Support/LiveObjects.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::int64_t> count = 0;

}  // namespace

std::int64_t ks::testing::liveObjects() { return count; }

// In a file of their own, so that no compiler sees one without the other.
void* operator new(std::size_t size) {
  void* const memory = std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  ++count;
  return memory;
}
void operator delete(void* memory) noexcept {
  if (memory != nullptr) --count;
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept { operator delete(memory); }
