#pragma once

#include <string>

#include "BeaconSDK/Platform/Api/Foundation.h"

/// The engine's clock: the device's wall clock or, with `steadyClock`, one that follows elapsed
/// time only, whatever the wall clock is set to.
///
/// The steady clock starts at the wall clock's time and follows the device's uptime, also across
/// processes. After a restart of the device it adds the time that the device was off by the wall
/// clock. A device that cannot identify its boots counts each process as one. `now` may be called
/// on any thread, the rest on the main queue.
class KSSteadyClock : public ks::Clock {
 public:
  /// Key of the user defaults.
  static constexpr const char* kDefaultsKey = "KSSteadyClock";

  /// `device` and `defaults` must outlive the clock.
  KSSteadyClock(const ks::Clock& device, ks::NSUserDefaults& defaults, bool isSteady);

  ks::Date now() const override;
  ks::Seconds uptime() const override { return device_.uptime(); }
  /// Converts `moment` of this clock to the wall clock as it is set now.
  ks::Date wallTime(ks::Date moment) const;
  /// Stores for later processes how far the wall clock has been set since the last call.
  void keep();

 private:
  ks::Seconds elapsed() const;

  const ks::Clock& device_;
  /// The device's clock as a continuous clock, or null.
  const ks::ContinuousClock* const continuous_;
  ks::NSUserDefaults& defaults_;
  const bool isSteady_;
  std::string boot_;
  /// This clock's time at uptime 0.
  ks::Date origin_;
  /// This clock less the wall clock, in seconds, as stored last.
  double keptLead_ = 0;
};
