#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "BeaconSDK/Platform/Api/CoreLocation.h"
#include "bench/filters/SignalFilters.h"

namespace ks::gate {

/// A simple rule: one filter, borders without margin, and a fixed silence that ends everything.
struct BystanderKind {
  std::string name;
  std::string filter;
  Seconds silence;
};

/// The three that the engine is compared with.
const std::vector<BystanderKind>& bystanders();

/// Hears the same packets as the engine and decides by a simple rule.
class Bystander {
 public:
  explicit Bystander(const BystanderKind& kind);
  void hear(Seconds time, Dbm power, Dbm rssi);

  /// Arrivals in NEAR, silences, and changes from one band to another.
  int notifications = 0;
  int exits = 0;
  int changes = 0;

 private:
  const bench::FilterKind* make_ = nullptr;
  Seconds silence_;
  std::unique_ptr<bench::SignalFilter> filter_;
  Seconds last_{0};
  CLProximity proximity_ = CLProximity::unknown;
};

}  // namespace ks::gate
