#pragma once

#include "BeaconSDK/Platform/Api/Foundation.h"

namespace ks {

/// Seconds since the machine started, standing still while it sleeps. Any thread.
Seconds monotonicUptime();

/// The machine's wall clock and its monotonic clock.
class SystemClock : public Clock {
 public:
  Date now() const override;
  Seconds uptime() const override { return monotonicUptime(); }
};

}  // namespace ks
