#pragma once

#include <string>
#include <string_view>

namespace ks {

/// Returns `text` fit for one line of a terminal: a space for each control character (C0, DEL, C1),
/// line and paragraph separator and change of writing direction (U+202A to U+202E, U+2066 to
/// U+2069), U+FFFD for each byte that is no UTF-8. Text from portals, beacons and files passes
/// through it at the edge, so that none can move the cursor, break its line or reorder it.
std::string printable(std::string_view text);

/// Returns `text` as a JSON string with its quotes; the characters named above are escaped.
std::string quotedJson(std::string_view text);

}  // namespace ks
