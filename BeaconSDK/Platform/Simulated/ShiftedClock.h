#pragma once

#include <atomic>
#include <string>

#include "BeaconSDK/Platform/Api/ContinuousClock.h"

namespace ks {

/// A clock that somebody has set: the wall clock of another one, shifted. The world and the queues
/// go on by the other one. Any thread.
class ShiftedClock : public ContinuousClock {
 public:
  /// `base` must outlive this clock.
  explicit ShiftedClock(const Clock& base)
      : base_(base), continuous_(dynamic_cast<const ContinuousClock*>(&base)) {}

  Date now() const override { return base_.now() + Seconds{shift_.load()}; }
  Seconds uptime() const override { return base_.uptime(); }
  Seconds continuousUptime() const override {
    return continuous_ != nullptr ? continuous_->continuousUptime() : base_.uptime();
  }
  std::string bootIdentifier() const override {
    return continuous_ != nullptr ? continuous_->bootIdentifier() : "";
  }
  /// Sets the wall clock `by` ahead of where it stands; negative: back.
  void jump(Seconds by) { shift_ = shift_ + by.count(); }

 private:
  const Clock& base_;
  /// The same clock, when it knows more; else null.
  const ContinuousClock* const continuous_;
  std::atomic<double> shift_{0};
};

}  // namespace ks
