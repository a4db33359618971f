#include "BeaconSDK/Platform/Location/Radio/BeaconMemory.h"

#include <algorithm>
#include <utility>

#include "BeaconSDK/Platform/Location/Radio/Proximity.h"

namespace ks {

namespace {
// Three returns are no coincidence of a sender's changing addresses.
constexpr int kReturnsOfShared = 3;
}  // namespace

void BeaconMemory::hear(const BeaconPacket& packet) {
  const auto silence = packet.time - heard_;
  if (silence > gaps_.listingLimit()) {
    filter_ = {};
    rule_ = {};
  }
  heard_ = std::max(heard_, packet.time);
  measuredPower_ = isPlausiblePower(packet.frame.measuredPower) ? packet.frame.measuredPower
                                                                : kUsualMeasuredPower;
  gaps_.heard(heard_);
  measure(packet.rssi, heard_);
  noteSender(packet.sender);
}

void BeaconMemory::measure(Dbm rssi, Seconds time) {
  if (!isUsable(rssi)) return;
  filter_.add(time, rssi);
  measured_ = time;
  rule_.observe(time, {measuredPower_.value - filter_.value().value, filter_.deviationDb(),
                       filter_.isMoving()});
}

void BeaconMemory::noteSender(std::uint64_t sender) {
  if (sender == 0 || sender == sender_) return;
  if (sender == senderBefore_ && returns_ < kReturnsOfShared) ++returns_;
  senderBefore_ = std::exchange(sender_, sender);
}

bool BeaconMemory::foundShared() {
  return returns_ == kReturnsOfShared && !std::exchange(sharedTold_, true);
}

bool BeaconMemory::isListed(Seconds now) const {
  if (now - heard_ > gaps_.listingLimit()) return false;
  return filter_.isEmpty() || rule_.proximity(now) != CLProximity::unknown;
}

CLBeacon BeaconMemory::ranged(UUID uuid, Seconds now) const {
  CLBeacon result{uuid, major_, minor_};
  if (filter_.isEmpty() || now - measured_ > gaps_.strengthLimit()) return result;
  result.rssi = filter_.value();
  result.accuracy = distanceAtLoss(measuredPower_.value - result.rssi.value);
  result.proximity = rule_.proximity(now);
  return result;
}

}  // namespace ks
