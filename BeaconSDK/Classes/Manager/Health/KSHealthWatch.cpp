#include "BeaconSDK/Classes/Manager/Health/KSHealthWatch.h"

#include <utility>

#include "BeaconSDK/Classes/Manager/Regions/KSRegionMonitor.h"
#include "BeaconSDK/Platform/Api/Foundation.h"

namespace {

const char* nameOf(KSContentDownloadType type) {
  switch (type) {
    case KSContentDownloadType::contentCategories:
      return "categories";
    case KSContentDownloadType::locations:
      return "locations";
    case KSContentDownloadType::zonesForLocation:
      return "zones";
    case KSContentDownloadType::contentForBeacons:
      return "contents";
    case KSContentDownloadType::geofences:
      return "geofences";
    case KSContentDownloadType::unknown:
      break;
  }
  return "others";
}

}  // namespace

KSHealthWatch::KSHealthWatch(const ks::Clock& clock)
    : clock_(clock), since_(elapsed()), lead_(lead()) {}

KSHealthWatch::Moment KSHealthWatch::elapsed() const {
  const auto* const continuous = dynamic_cast<const ks::ContinuousClock*>(&clock_);
  return continuous != nullptr ? continuous->continuousUptime() : clock_.uptime();
}

void KSHealthWatch::replied(KSContentDownloadType type) {
  lastReply_[nameOf(type)] = elapsed();
  failingSince_.reset();
  lastFailure_.clear();
  loginRefusedSince_.reset();
  if (type != KSContentDownloadType::geofences) return;
  std::erase_if(regionsRefused_, [](const auto& region) { return region.second; });
}

void KSHealthWatch::downloadFailed(const ks::Error& error) {
  if (!failingSince_) failingSince_ = elapsed();
  lastFailure_ = error.localizedDescription();
}

void KSHealthWatch::loginRefused() {
  if (!loginRefusedSince_) loginRefusedSince_ = elapsed();
}

void KSHealthWatch::beaconsRanged() { lastPacket_ = elapsed(); }

void KSHealthWatch::located() { lastFix_ = elapsed(); }

void KSHealthWatch::regionRefused(const ks::CLRegion& region) {
  const std::string& identifier = region.identifier();
  regionsRefused_[identifier] = dynamic_cast<const ks::CLCircularRegion*>(&region) != nullptr &&
                                identifier != KSRegionMonitor::kSearchRegionIdentifier;
}

bool KSHealthWatch::lookAtClock() {
  const ks::Seconds now = lead();
  const ks::Seconds moved = now - std::exchange(lead_, now);
  if (moved > -kJump && moved < kJump) return false;
  ++clockJumps_;
  lastClockJump_ = elapsed();
  return true;
}

ks::Health KSHealthWatch::health() const {
  ks::Health health;
  health.now = clock_.now();
  const ks::Seconds now = elapsed();
  const auto date = [&](Moment moment) { return health.now - (now - moment); };
  const auto dateIf = [&](const std::optional<Moment>& moment) {
    return moment ? std::optional(date(*moment)) : std::nullopt;
  };
  health.since = date(since_);
  for (const auto& [kind, moment] : lastReply_) health.lastReply[kind] = date(moment);
  health.failingSince = dateIf(failingSince_);
  health.lastFailure = lastFailure_;
  health.loginRefusedSince = dateIf(loginRefusedSince_);
  health.lastPacket = dateIf(lastPacket_);
  health.lastFix = dateIf(lastFix_);
  for (const auto& [identifier, isGeofence] : regionsRefused_) {
    health.regionsRefused.push_back(identifier);
  }
  health.clockJumps = clockJumps_;
  health.lastClockJump = dateIf(lastClockJump_);
  return health;
}
