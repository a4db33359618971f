#pragma once

#include <cstdint>

namespace ks::gate {

/// How often this program has taken memory from the heap so far, on all threads.
std::uint64_t allocationCount();

}  // namespace ks::gate
