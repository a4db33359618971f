#pragma once

namespace ks {

/// The version of the library and of its command, "MAJOR.MINOR.PATCH". The build reads the
/// project's version from this line.
inline constexpr const char* kVersion = "1.0.0";

}  // namespace ks
