#pragma once

#include <string>

#include "BeaconSDK/Platform/Api/ContinuousClock.h"

/// The engine's clock: the device's wall clock, or with `steadyClock` one that elapsed time alone
/// moves, whoever sets the wall clock.
///
/// The steady clock starts at the wall clock's time. It goes by the device's uptime from then on,
/// also in later processes, until the device is started anew; from then on by that uptime, with the
/// wall clock telling how long the device was off. A device that cannot tell its starts counts each
/// process as one. Reading it is for any thread, the rest for the main queue.
class KSSteadyClock : public ks::Clock {
 public:
  /// Key of the user defaults.
  static constexpr const char* kDefaultsKey = "KSSteadyClock";

  /// `device` and `defaults` must outlive the clock.
  KSSteadyClock(const ks::Clock& device, ks::NSUserDefaults& defaults, bool isSteady);

  ks::Date now() const override;
  ks::Seconds uptime() const override { return device_.uptime(); }
  /// When `moment` of this clock is by the wall clock as it stands now.
  ks::Date wallTime(ks::Date moment) const;
  /// Keeps for later processes how far the wall clock has been set since the last call.
  void keep();

 private:
  ks::Seconds elapsed() const;

  const ks::Clock& device_;
  /// The same clock, when it knows more; else null.
  const ks::ContinuousClock* const continuous_;
  ks::NSUserDefaults& defaults_;
  const bool isSteady_;
  std::string boot_;
  /// This clock's time at uptime 0.
  ks::Date origin_;
  /// This clock less the wall clock, in seconds, as it was last kept.
  double keptLead_ = 0;
};
