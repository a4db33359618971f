#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "BeaconSDK/Platform/Api/CoreLocation.h"

namespace ks {

/// A location service that counts its input. Not every device's does.
class CountingLocationServices : public LocationServices {
 public:
  /// Returns what became of advertisements and fixes since the service was made, by stable names.
  /// Main queue only.
  virtual std::map<std::string, std::int64_t> counts() const = 0;
};

}  // namespace ks
