#pragma once

#include <algorithm>
#include <string_view>

namespace ks {

/// Cuts the part before the next `separator` off `rest`, with the separator; all of `rest` when it
/// has none.
inline std::string_view nextPart(std::string_view& rest, char separator) {
  const auto part = rest.substr(0, rest.find(separator));
  rest.remove_prefix(std::min(part.size() + 1, rest.size()));
  return part;
}

}  // namespace ks
