#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "BeaconSDK/Platform/Api/Value.h"

namespace ks {

bool isAscii(std::string_view text);
bool isValidUtf8(std::string_view text);

/// UTF-8 text as big-endian UTF-16; what is not valid UTF-8 becomes U+FFFD.
Data utf16FromUtf8(std::string_view text);
/// Big-endian UTF-16 (an even number of bytes) as UTF-8; an unpaired surrogate becomes U+FFFD.
std::string utf8FromUtf16(std::span<const std::uint8_t> bytes);

}  // namespace ks
