#pragma once

#include "BeaconSDK/Platform/Api/Foundation.h"

namespace ks {

/// Seconds since the machine started, standing still while it sleeps. Any thread.
Seconds monotonicUptime();

/// The machine's wall clock and its monotonic clocks.
class SystemClock : public ContinuousClock {
 public:
  Date now() const override;
  Seconds uptime() const override { return monotonicUptime(); }
  Seconds continuousUptime() const override;
  std::string bootIdentifier() const override;
};

}  // namespace ks
