#include "BeaconSDK/Classes/Manager/Common/KSSteadyClock.h"

#include <cmath>

namespace {

/// Time services slew the wall clock by less than this an hour; a lead that differs by less is not
/// worth a write.
constexpr double kWorthKeeping = 1;

}  // namespace

KSSteadyClock::KSSteadyClock(const ks::Clock& device, ks::NSUserDefaults& defaults, bool isSteady)
    : device_(device),
      continuous_(dynamic_cast<const ks::ContinuousClock*>(&device)),
      defaults_(defaults),
      isSteady_(isSteady) {
  if (!isSteady) return;
  if (continuous_ != nullptr) boot_ = continuous_->bootIdentifier();
  origin_ = device.now() - elapsed();
  const ks::Value stored = defaults.objectForKey(kDefaultsKey);
  const ks::Dictionary* const kept = stored.dictionary();
  if (kept != nullptr) {
    const ks::Date* const origin = (*kept)["origin"].date();
    const bool isSameStart = !boot_.empty() && (*kept)["boot"].stringValue() == boot_;
    if (isSameStart && origin != nullptr) {
      origin_ = *origin;
    } else {
      origin_ += ks::Seconds{(*kept)["lead"].doubleValue()};
    }
  }
  keptLead_ = std::nan("");
  keep();
}

ks::Seconds KSSteadyClock::elapsed() const {
  return continuous_ != nullptr ? continuous_->continuousUptime() : device_.uptime();
}

ks::Date KSSteadyClock::now() const { return isSteady_ ? origin_ + elapsed() : device_.now(); }

ks::Date KSSteadyClock::wallTime(ks::Date moment) const {
  return isSteady_ ? moment + (device_.now() - now()) : moment;
}

void KSSteadyClock::keep() {
  if (!isSteady_) return;
  const double lead = ks::secondsBetween(device_.now(), now());
  if (std::abs(lead - keptLead_) < kWorthKeeping) return;
  keptLead_ = lead;
  defaults_.setObject(kDefaultsKey,
                      ks::Dictionary{{"boot", boot_}, {"origin", origin_}, {"lead", lead}});
  defaults_.synchronize();
}
