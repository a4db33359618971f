#pragma once

#include <filesystem>
#include <string>

namespace ks {

/// The content of a small text file of the system, at most 64 KiB; empty when it is missing, longer
/// or cannot be read.
std::string readSystemFile(const std::filesystem::path& path);

/// The first line of such a file without surrounding blanks.
std::string readFirstLine(const std::filesystem::path& path);

}  // namespace ks
