#pragma once

#include <memory>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Api/Units.h"
#include "BeaconSDK/Platform/Location/Radio/BorderRule.h"

namespace ks::bench {

/// A filter of one beacon's signal strength, as the comparison uses it.
class SignalFilter {
 public:
  virtual ~SignalFilter() = default;
  /// Times never go back.
  virtual void add(Seconds time, Dbm rssi) = 0;
  virtual Dbm value() const = 0;
  /// What the border rule is told besides the value; those that do not know guess.
  virtual double deviationDb() const { return 1.5; }
  virtual bool isMoving() const { return false; }
};

struct FilterKind {
  std::string name;
  std::unique_ptr<SignalFilter> (*make)();
};

/// The engine's own first, then the five others.
const std::vector<FilterKind>& allFilters();

/// A filter and the engine's border rule behind it.
class Estimator {
 public:
  Estimator(const FilterKind& kind, Dbm power) : filter_(kind.make()), power_(power) {}
  void add(Seconds time, Dbm rssi) {
    filter_->add(time, rssi);
    rule_.observe(
        time, {power_.value - filter_->value().value, filter_->deviationDb(), filter_->isMoving()});
  }
  Dbm value() const { return filter_->value(); }
  CLProximity proximity(Seconds now) const { return rule_.proximity(now); }

 private:
  std::unique_ptr<SignalFilter> filter_;
  BorderRule rule_;
  Dbm power_;
};

}  // namespace ks::bench
