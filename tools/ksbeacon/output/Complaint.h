#pragma once

#include <string_view>

namespace ks::tool {

/// Writes "ksbeacon: TEXT" to standard error, as one printable line.
void warn(std::string_view text);

/// The same for what ends a command; returns `code`.
int complain(std::string_view text, int code);

}  // namespace ks::tool
