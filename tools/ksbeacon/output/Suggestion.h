#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace ks::tool {

/// Returns `; did you mean "major"?` with the known name closest to `wrong`, or an empty string if
/// none is close. Ignores case; one letter in three may be missing, added, wrong or swapped with
/// the next.
std::string suggestion(std::string_view wrong, const std::vector<std::string>& known);

}  // namespace ks::tool
