#pragma once

#include <cstddef>
#include <string>
#include <variant>

#include "tools/ksbeacon/documents/InputError.h"

namespace ks::tool {

/// The content of a regular file of at most so many bytes, or what stands at `path` instead.
std::variant<std::string, InputError> readTextFile(const std::string& path, std::size_t maximum);

}  // namespace ks::tool
