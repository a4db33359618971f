#include "BeaconSDK/Platform/Location/LocationErrors.h"

#include <string>

namespace ks {

Error locationError(CLErrorCode code) {
  const auto text = [code] {
    switch (code) {
      case CLErrorCode::locationUnknown:
        return "The location could not be determined";
      case CLErrorCode::denied:
        return "The application may not use the location";
      case CLErrorCode::regionMonitoringDenied:
        return "The application may not monitor regions";
      case CLErrorCode::regionMonitoringFailure:
        return "The region cannot be monitored";
    }
    return "";
  };
  return {CLErrorDomain, static_cast<std::int64_t>(code), std::string(text())};
}

}  // namespace ks
