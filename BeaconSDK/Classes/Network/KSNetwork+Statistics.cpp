// Statistics: each event becomes one request.

#include <utility>

#include "BeaconSDK/Classes/Logging/KSLog.h"
#include "BeaconSDK/Classes/Network/KSNetwork.h"
#include "BeaconSDK/Classes/Network/KSStatisticBody.h"
#include "BeaconSDK/Classes/Stats/Records/KSStatProximityZoneInteraction.h"

namespace {

constexpr ks::LogSource kLog{"BeaconSDK/Classes/Network/KSNetwork"};

using RequestBuilder = ks::NSURLRequest (*)(const ks::NSURL&, const std::string&);

/// Nothing, and a log line, when the event lacks a required value.
std::optional<ks::Statistic> statistic(const ks::NSURL& rootURL, RequestBuilder builder,
                                       const KSStatProximityZoneInteraction& interaction,
                                       const KSStatisticBody& body, const char* operation) {
  if (body.missing()) {
    kLog(operation, "Event dropped, missing: %@", body.missing());
    return std::nullopt;
  }
  auto request = builder(rootURL, interaction.portalIdentifier().value_or(""));
  request.httpBody = body.data();
  const std::string& url = request.url.absoluteString;
  return ks::Statistic{interaction.portalIdentifier().value_or("") + url.substr(url.rfind('/')),
                       interaction.beaconIdentifier.value_or(""), std::move(request)};
}

}  // namespace

void KSNetwork::post(ks::Statistic statistic) {
  if (statisticHandler_) {
    statisticHandler_(std::move(statistic));
  } else {
    upload(std::move(statistic.request));
  }
}

void KSNetwork::postEnterProximityZone(const KSStatProximityZoneInteraction& interaction) {
  auto event = statistic(rootURL_, ks::NSURLRequestKS::enterProximityZoneRequest, interaction,
                         KSStatisticBody(interaction).zone().timestamp().tags(),
                         "-[KSNetwork postEnterProximityZone:]");
  if (event) post(std::move(*event));
}

void KSNetwork::postExitProximityZone(const KSStatProximityZoneInteraction& interaction) {
  auto event =
      statistic(rootURL_, ks::NSURLRequestKS::exitProximityZoneRequest, interaction,
                KSStatisticBody(interaction).zone().timestamp().batteryLevel().duration().tags(),
                "-[KSNetwork postExitProximityZone:]");
  if (event) post(std::move(*event));
}

void KSNetwork::postProximityZoneNotification(const KSStatProximityZoneInteraction& interaction) {
  auto event =
      statistic(rootURL_, ks::NSURLRequestKS::proximityZoneNotificationRequest, interaction,
                KSStatisticBody(interaction).zone().content().schedule().timestamp().tags(),
                "-[KSNetwork postProximityZoneNotification:]");
  if (event) post(std::move(*event));
}

void KSNetwork::postProximityZoneInteraction(const KSStatProximityZoneInteraction& interaction) {
  auto event =
      statistic(rootURL_, ks::NSURLRequestKS::proximityZoneInteractionRequest, interaction,
                KSStatisticBody(interaction).zone().timestamp().content().schedule().tags(),
                "-[KSNetwork postProximityZoneInteraction:]");
  if (event) post(std::move(*event));
}

void KSNetwork::postEnterGeofenceZone(const KSStatProximityZoneInteraction& interaction) {
  auto event = statistic(rootURL_, ks::NSURLRequestKS::enterProximityZoneRequest, interaction,
                         KSStatisticBody(interaction).zone().timestamp(),
                         "-[KSNetwork postEnterGeofenceZone:]");
  if (event) post(std::move(*event));
}

void KSNetwork::postExitGeofenceZone(const KSStatProximityZoneInteraction& interaction) {
  auto event = statistic(rootURL_, ks::NSURLRequestKS::exitProximityZoneRequest, interaction,
                         KSStatisticBody(interaction).zone().timestamp().duration(),
                         "-[KSNetwork postExitGeofenceZone:]");
  if (event) post(std::move(*event));
}
