#include "BeaconSDK/Classes/Network/KSStatisticBody.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

#include "BeaconSDK/Classes/Network/NSJSONSerialization.h"
#include "BeaconSDK/Classes/Stats/Records/KSStatProximityZoneInteraction.h"

namespace {

/// Whole seconds, cut toward zero; outside the range its nearest end, 0 for no number.
std::int32_t wholeSeconds(double duration) {
  using Limits = std::numeric_limits<std::int32_t>;
  if (std::isnan(duration)) return 0;
  if (duration >= Limits::max()) return Limits::max();
  if (duration <= Limits::min()) return Limits::min();
  return static_cast<std::int32_t>(duration);
}

}  // namespace

KSStatisticBody& KSStatisticBody::zone() {
  const auto key = interaction_.identifierKey();
  return require(key.value_or("zone type"), key ? interaction_.beaconIdentifier : std::nullopt);
}

KSStatisticBody& KSStatisticBody::timestamp() {
  return require("timestamp", interaction_.timestamp);
}

KSStatisticBody& KSStatisticBody::content() {
  return require("contentId", interaction_.contentIdentifier);
}

/// The portal spells the name so.
KSStatisticBody& KSStatisticBody::schedule() {
  return add("schedulId", interaction_.scheduleIdentifier);
}

KSStatisticBody& KSStatisticBody::batteryLevel() {
  return add("batteryLevel", interaction_.batteryLevel);
}

KSStatisticBody& KSStatisticBody::duration() {
  return add("duration", wholeSeconds(interaction_.duration));
}

KSStatisticBody& KSStatisticBody::tags() { return add("tags", interaction_.tags); }

ks::Data KSStatisticBody::data() const {
  const std::string text = ks::NSJSONSerialization::dataWithJSONObject(members_);
  return {text.begin(), text.end()};
}

KSStatisticBody& KSStatisticBody::require(std::string key,
                                          const std::optional<std::string>& value) {
  if (!value && !missing_) missing_ = key;
  return add(std::move(key), value);
}

KSStatisticBody& KSStatisticBody::add(std::string key, ks::Value value) {
  members_.set(std::move(key), std::move(value));
  return *this;
}
