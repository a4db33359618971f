#pragma once

#include <filesystem>
#include <string>

namespace ks::tool {

/// Whether a file of this name can be made or replaced. Asked before the work, so that no long one
/// ends in vain.
bool canBeWritten(const std::filesystem::path& file);

/// Whether `folder` takes files. Makes it if need be, for its owner alone.
bool canHoldFiles(const std::filesystem::path& folder);

/// Replaces the content of `file`; false when it could not be written whole.
bool writeText(const std::filesystem::path& file, const std::string& text);

}  // namespace ks::tool
