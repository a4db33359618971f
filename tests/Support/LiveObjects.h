#pragma once

#include <cstdint>

namespace ks::testing {

/// How many pieces of memory `new` has given in this process and nobody has given back. Any thread.
std::int64_t liveObjects();

}  // namespace ks::testing
