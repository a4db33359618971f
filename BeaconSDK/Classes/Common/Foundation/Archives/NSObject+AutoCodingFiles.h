#pragma once

#include <filesystem>

#include "BeaconSDK/Platform/Api/Value.h"

namespace ks::NSObjectAutoCoding {

/// Archives `value` as the root object and replaces the file at `path`; false on failure. Always
/// atomic, whatever `atomically` says.
bool writeToFile(const Value& value, const std::filesystem::path& path, bool atomically);
/// Returns the root object of an archive, the content of any other binary or XML property list, or
/// else the file's bytes; absent when the file cannot be read or is a damaged archive. Throws
/// `AutocodingException`.
Value objectWithContentsOfFile(const std::filesystem::path& path);

}  // namespace ks::NSObjectAutoCoding
