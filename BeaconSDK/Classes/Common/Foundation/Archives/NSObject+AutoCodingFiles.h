#pragma once

#include <filesystem>

#include "BeaconSDK/Platform/Api/Value.h"

namespace ks::NSObjectAutoCoding {

/// Archives `value` as the root object of the file at `path`, which is replaced as a whole whether
/// or not that is asked for.
bool writeToFile(const Value& value, const std::filesystem::path& path, bool atomically);
/// The root object of an archive, the content of any other binary or XML property list, or else the
/// file's bytes; absent when the file cannot be read or is a damaged archive. Raises
/// `AutocodingException`.
Value objectWithContentsOfFile(const std::filesystem::path& path);

}  // namespace ks::NSObjectAutoCoding
