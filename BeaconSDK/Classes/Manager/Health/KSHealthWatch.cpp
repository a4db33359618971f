#include "BeaconSDK/Classes/Manager/Health/KSHealthWatch.h"

#include <utility>

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
    : clock_(clock), since_(clock.now()), lead_(wallLead()) {}

ks::Seconds KSHealthWatch::wallLead() const {
  const auto* const continuous = dynamic_cast<const ks::ContinuousClock*>(&clock_);
  const ks::Seconds elapsed =
      continuous != nullptr ? continuous->continuousUptime() : clock_.uptime();
  return clock_.now().time_since_epoch() - elapsed;
}

void KSHealthWatch::replied(KSContentDownloadType type) {
  lastReply_[nameOf(type)] = clock_.now();
  failingSince_.reset();
  lastFailure_.clear();
  loginRefusedSince_.reset();
}

void KSHealthWatch::downloadFailed(const ks::Error& error) {
  if (!failingSince_) failingSince_ = clock_.now();
  lastFailure_ = error.localizedDescription();
}

void KSHealthWatch::loginRefused() {
  if (!loginRefusedSince_) loginRefusedSince_ = clock_.now();
}

void KSHealthWatch::beaconsRanged() { lastPacket_ = clock_.now(); }

void KSHealthWatch::located() { lastFix_ = clock_.now(); }

bool KSHealthWatch::lookAtClock() {
  const ks::Seconds lead = wallLead();
  const ks::Seconds moved = lead - std::exchange(lead_, lead);
  if (moved > -kJump && moved < kJump) return false;
  ++clockJumps_;
  lastClockJump_ = clock_.now();
  return true;
}

ks::Health KSHealthWatch::health() const {
  ks::Health health;
  health.now = clock_.now();
  health.since = since_;
  health.lastReply = lastReply_;
  health.failingSince = failingSince_;
  health.lastFailure = lastFailure_;
  health.loginRefusedSince = loginRefusedSince_;
  health.lastPacket = lastPacket_;
  health.lastFix = lastFix_;
  health.regionsRefused.assign(regionsRefused_.begin(), regionsRefused_.end());
  health.clockJumps = clockJumps_;
  health.lastClockJump = lastClockJump_;
  return health;
}
