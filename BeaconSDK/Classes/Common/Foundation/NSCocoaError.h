#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "BeaconSDK/Platform/Api/Error.h"

namespace ks {

/// The platform's domain and codes for the faults of files, property lists and archives.
inline constexpr const char* NSCocoaErrorDomain = "NSCocoaErrorDomain";
enum class NSCocoaError : std::int64_t {
  fileReadUnknown = 256,
  propertyListReadCorrupt = 3840,
  propertyListWriteInvalid = 3852,
  coderReadCorrupt = 4864,
  coderInvalidValue = 4866,
};

inline Error cocoaError(NSCocoaError code, std::string description) {
  return {NSCocoaErrorDomain, static_cast<std::int64_t>(code), std::move(description)};
}

}  // namespace ks
