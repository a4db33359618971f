#pragma once

#include "BeaconSDK/Platform/Api/Foundation.h"

namespace ks {

/// Seconds since the machine started, standing still while it sleeps. Any thread.
Seconds monotonicUptime();

/// The machine's wall clock and its monotonic clocks.
class SystemClock : public ContinuousClock {
 public:
  /// A service manager that hides the kernel's own identifier of the start tells it here.
  static constexpr const char* kBootVariable = "KS_BOOT_ID";

  Date now() const override;
  Seconds uptime() const override { return monotonicUptime(); }
  Seconds continuousUptime() const override;
  std::string bootIdentifier() const override;
};

}  // namespace ks
