#pragma once

#include <cstdint>

#include "BeaconSDK/Platform/Api/Error.h"

namespace ks {

/// The domain of the location service's errors, and their codes.
inline constexpr const char* CLErrorDomain = "kCLErrorDomain";
enum class CLErrorCode : std::int64_t {
  locationUnknown = 0,
  denied = 1,
  regionMonitoringDenied = 4,
  regionMonitoringFailure = 5,
};
/// Returns the error of `CLErrorDomain` with the code's description.
Error locationError(CLErrorCode code);

}  // namespace ks
