#pragma once

#include <atomic>
#include <string>

#include "BeaconSDK/Platform/Api/Foundation.h"

namespace ks {

/// A clock whose wall time is shifted against another one's, as after the user has set it or the
/// device has slept. The simulated world and the queues keep following the other clock. Any thread.
class ShiftedClock : public ContinuousClock {
 public:
  /// `base` must outlive this clock.
  explicit ShiftedClock(const Clock& base)
      : base_(base), continuous_(dynamic_cast<const ContinuousClock*>(&base)) {}

  Date now() const override { return base_.now() + Seconds{shift_.load()}; }
  Seconds uptime() const override { return base_.uptime(); }
  Seconds continuousUptime() const override {
    const Seconds uptime =
        continuous_ != nullptr ? continuous_->continuousUptime() : base_.uptime();
    return uptime + Seconds{slept_.load()};
  }
  std::string bootIdentifier() const override {
    return continuous_ != nullptr ? continuous_->bootIdentifier() : "";
  }
  /// Moves the wall clock forward by `by`; negative: back.
  void jump(Seconds by) { shift_ = shift_ + by.count(); }
  /// The device has just slept for `span`: its uptime stood still.
  void sleep(Seconds span) {
    jump(span);
    slept_ = slept_ + span.count();
  }

 private:
  const Clock& base_;
  /// `base_` as a continuous clock, or null.
  const ContinuousClock* const continuous_;
  std::atomic<double> shift_{0};
  std::atomic<double> slept_{0};
};

}  // namespace ks
