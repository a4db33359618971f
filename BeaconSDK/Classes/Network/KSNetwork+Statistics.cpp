// The bodies of the statistics events.

#include <cmath>
#include <limits>
#include <utility>

#include "BeaconSDK/Classes/Logging/KSLog.h"
#include "BeaconSDK/Classes/Network/KSNetwork.h"
#include "BeaconSDK/Classes/Network/NSJSONSerialization.h"
#include "BeaconSDK/Classes/Stats/Records/KSStatProximityZoneInteraction.h"

namespace {

constexpr ks::LogSource kLog{"BeaconSDK/Classes/Network/KSNetwork"};

/// Whole seconds, cut toward zero; outside the range its nearest end, 0 for no number.
std::int32_t wholeSeconds(double duration) {
  using Limits = std::numeric_limits<std::int32_t>;
  if (std::isnan(duration)) return 0;
  if (duration >= Limits::max()) return Limits::max();
  if (duration <= Limits::min()) return Limits::min();
  return static_cast<std::int32_t>(duration);
}

/// The members of one event's body in the order in which they are added. A missing required value
/// leaves the body incomplete.
class EventBody {
 public:
  explicit EventBody(const KSStatProximityZoneInteraction& interaction)
      : interaction_(interaction) {}

  EventBody& zone() {
    const auto key = interaction_.identifierKey();
    return require(key.value_or("zone type"), key ? interaction_.beaconIdentifier : std::nullopt);
  }
  EventBody& timestamp() { return require("timestamp", interaction_.timestamp); }
  EventBody& content() { return require("contentId", interaction_.contentIdentifier); }
  /// The portal spells the name so.
  EventBody& schedule() { return add("schedulId", interaction_.scheduleIdentifier); }
  EventBody& batteryLevel() { return add("batteryLevel", interaction_.batteryLevel); }
  EventBody& duration() { return add("duration", wholeSeconds(interaction_.duration)); }
  EventBody& tags() { return add("tags", interaction_.tags); }

  /// The first required value that is missing.
  const std::optional<std::string>& missing() const { return missing_; }
  ks::Data data() const {
    const std::string text = ks::NSJSONSerialization::dataWithJSONObject(members_);
    return {text.begin(), text.end()};
  }

 private:
  EventBody& require(std::string key, const std::optional<std::string>& value) {
    if (!value && !missing_) missing_ = key;
    return add(std::move(key), value);
  }
  EventBody& add(std::string key, ks::Value value) {
    members_.set(std::move(key), std::move(value));
    return *this;
  }

  const KSStatProximityZoneInteraction& interaction_;
  ks::Dictionary members_;
  std::optional<std::string> missing_;
};

using RequestBuilder = ks::NSURLRequest (*)(const ks::NSURL&, const std::string&);

/// Nothing, and a log line, when the event lacks a required value.
std::optional<KSStatistic> statistic(const ks::NSURL& rootURL, RequestBuilder builder,
                                     const KSStatProximityZoneInteraction& interaction,
                                     const EventBody& body, const char* operation) {
  if (body.missing()) {
    kLog(operation, "Event dropped, missing: %@", body.missing());
    return std::nullopt;
  }
  auto request = builder(rootURL, interaction.portalIdentifier().value_or(""));
  request.httpBody = body.data();
  const std::string& url = request.url.absoluteString;
  return KSStatistic{interaction.portalIdentifier().value_or("") + url.substr(url.rfind('/')),
                     interaction.beaconIdentifier.value_or(""), std::move(request)};
}

}  // namespace

void KSNetwork::post(KSStatistic statistic) {
  if (statisticHandler_) {
    statisticHandler_(std::move(statistic));
  } else {
    upload(std::move(statistic.request));
  }
}

void KSNetwork::postEnterProximityZone(const KSStatProximityZoneInteraction& interaction) {
  auto event = statistic(rootURL_, ks::NSURLRequestKS::enterProximityZoneRequest, interaction,
                         EventBody(interaction).zone().timestamp().tags(),
                         "-[KSNetwork postEnterProximityZone:]");
  if (event) post(std::move(*event));
}

void KSNetwork::postExitProximityZone(const KSStatProximityZoneInteraction& interaction) {
  auto event = statistic(rootURL_, ks::NSURLRequestKS::exitProximityZoneRequest, interaction,
                         EventBody(interaction).zone().timestamp().batteryLevel().duration().tags(),
                         "-[KSNetwork postExitProximityZone:]");
  if (event) post(std::move(*event));
}

void KSNetwork::postProximityZoneNotification(const KSStatProximityZoneInteraction& interaction) {
  auto event =
      statistic(rootURL_, ks::NSURLRequestKS::proximityZoneNotificationRequest, interaction,
                EventBody(interaction).zone().content().schedule().timestamp().tags(),
                "-[KSNetwork postProximityZoneNotification:]");
  if (event) post(std::move(*event));
}

void KSNetwork::postProximityZoneInteraction(const KSStatProximityZoneInteraction& interaction) {
  auto event = statistic(rootURL_, ks::NSURLRequestKS::proximityZoneInteractionRequest, interaction,
                         EventBody(interaction).zone().timestamp().content().schedule().tags(),
                         "-[KSNetwork postProximityZoneInteraction:]");
  if (event) post(std::move(*event));
}

void KSNetwork::postEnterGeofenceZone(const KSStatProximityZoneInteraction& interaction) {
  auto event =
      statistic(rootURL_, ks::NSURLRequestKS::enterProximityZoneRequest, interaction,
                EventBody(interaction).zone().timestamp(), "-[KSNetwork postEnterGeofenceZone:]");
  if (event) post(std::move(*event));
}

void KSNetwork::postExitGeofenceZone(const KSStatProximityZoneInteraction& interaction) {
  auto event = statistic(rootURL_, ks::NSURLRequestKS::exitProximityZoneRequest, interaction,
                         EventBody(interaction).zone().timestamp().duration(),
                         "-[KSNetwork postExitGeofenceZone:]");
  if (event) post(std::move(*event));
}
