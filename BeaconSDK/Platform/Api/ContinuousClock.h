#pragma once

#include <string>

#include "BeaconSDK/Platform/Api/Foundation.h"

namespace ks {

/// A clock that knows more of elapsed time than every device can tell. Any thread.
class ContinuousClock : public Clock {
 public:
  /// As `uptime`, but goes on while the device sleeps.
  virtual Seconds continuousUptime() const = 0;
  /// The same until the device is started anew; empty when it cannot be told.
  virtual std::string bootIdentifier() const = 0;
};

}  // namespace ks
