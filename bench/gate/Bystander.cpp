#include "bench/gate/Bystander.h"

#include <algorithm>
#include <utility>

#include "BeaconSDK/Platform/Location/Radio/Proximity.h"

namespace ks::gate {

const std::vector<BystanderKind>& bystanders() {
  static const std::vector<BystanderKind> kAll{
      {"moving average, 10 s of silence", "moving average, 5 s", Seconds{10}},
      {"moving median, 20 s", "moving median, 5 s", Seconds{20}},
      {"Kalman, 30 s", "Kalman", Seconds{30}}};
  return kAll;
}

Bystander::Bystander(const BystanderKind& kind) : silence_(kind.silence) {
  const auto& all = bench::allFilters();
  make_ = &*std::ranges::find(all, kind.filter, &bench::FilterKind::name);
}

void Bystander::hear(Seconds time, Dbm power, Dbm rssi) {
  if (!isUsable(rssi)) return;
  if (filter_ && time - last_ > silence_) {
    ++exits;
    filter_ = nullptr;
    proximity_ = CLProximity::unknown;
  }
  if (!filter_) filter_ = make_->make();
  filter_->add(time, rssi);
  last_ = time;
  const auto before =
      std::exchange(proximity_, proximityAtLoss(power.value - filter_->value().value));
  notifications += proximity_ == CLProximity::near && before != proximity_;
  changes += before != CLProximity::unknown && before != proximity_;
}

}  // namespace ks::gate
