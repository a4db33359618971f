#pragma once

#include "BeaconSDK/Platform/Api/Foundation.h"

namespace ks::tool {

/// The time of a device that is switched off.
class StoppedClock : public Clock {
 public:
  Date now() const override { return now_; }
  Seconds uptime() const override { return Seconds{0}; }
  void set(Date now) { now_ = now; }

 private:
  Date now_;
};

}  // namespace ks::tool
