#include "BeaconSDK/Classes/Manager/Health/Health.h"

#include <algorithm>
#include <utility>

#include "BeaconSDK/Classes/Common/Foundation/Formatting.h"

namespace {

using Ailments = std::vector<ks::Ailment>;

/// What keeps the portal from being asked.
constexpr const char* kCheckNetwork = "check the network and the portal's address";

std::int64_t count(std::size_t size) { return static_cast<std::int64_t>(size); }

ks::Value orNull(ks::Value value) { return value.isAbsent() ? ks::Value(ks::Null{}) : value; }

ks::Value moment(const std::optional<ks::Date>& date) {
  return date ? ks::Value(ks::secondsSince1970(*date)) : ks::Value(ks::Null{});
}

ks::Value age(const std::optional<ks::Date>& date, ks::Date now) {
  return date ? ks::Value(ks::secondsBetween(*date, now)) : ks::Value(ks::Null{});
}

void judgeStart(const ks::Health& health, Ailments& found) {
  if (health.permission != ks::CLAuthorizationStatus::authorizedAlways) {
    found.push_back({ks::AilmentReason::permission, "positions are not permitted at all times",
                     "permit them in the system's location settings"});
  }
  if (health.isDeaf) {
    found.push_back({ks::AilmentReason::deaf,
                     "the library was reset and hears nothing of the device",
                     "make a new manager and start it"});
  } else if (!health.started) {
    const bool waits = health.starting && !health.loginRefusedSince;
    found.push_back({ks::AilmentReason::notStarted,
                     waits ? "the library is still starting" : "the library is not started",
                     "it starts when the portal answers and positions are permitted"});
  }
}

void judgePortal(const ks::Health& health, Ailments& found) {
  if (health.loginRefusedSince) {
    found.push_back({ks::AilmentReason::loginRefused,
                     "the portal refuses the user's name or password",
                     "correct the user's name or the password"});
    return;
  }
  if (health.failingSince) {
    const auto silence =
        static_cast<std::int64_t>(ks::secondsBetween(*health.failingSince, health.now));
    found.push_back({ks::AilmentReason::portal,
                     ks::stringWithFormat("no download has succeeded for %d s: %@", silence,
                                          health.lastFailure),
                     kCheckNetwork});
    return;
  }
  ks::Date last = health.since;
  for (const auto& [kind, date] : health.lastReply) last = std::max(last, date);
  const double silence = ks::secondsBetween(last, health.now);
  if (silence <= ks::Health::kSilentAfterSeconds || !health.wantsPositions) return;
  found.push_back({ks::AilmentReason::portal,
                   ks::stringWithFormat("the portal was last heard %d s ago",
                                        static_cast<std::int64_t>(silence)),
                   "positions make the library ask; check the receiver or the location service"});
}

void judgeDevice(const ks::Health& health, Ailments& found) {
  if (health.adapter && *health.adapter != ks::CBManagerState::poweredOn &&
      *health.adapter != ks::CBManagerState::unknown) {
    found.push_back({ks::AilmentReason::bluetooth, "Bluetooth cannot be used: no beacon is heard",
                     "switch Bluetooth on"});
  }
  if (health.started && health.wantsPositions && !health.lastFix &&
      ks::secondsBetween(health.since, health.now) > ks::Health::kNoPositionAfterSeconds) {
    found.push_back({ks::AilmentReason::positions, "there was no position since the start",
                     "check the receiver or the location service"});
  }
  if (!health.regionsRefused.empty()) {
    found.push_back(
        {ks::AilmentReason::regionsRefused,
         ks::stringWithFormat("the device refuses to monitor %d regions, %@ for one",
                              count(health.regionsRefused.size()), health.regionsRefused.front()),
         "correct their circles at the portal, or let it send fewer"});
  }
  const auto tooSmall = health.counters.find("tooSmallCircles");
  if (tooSmall != health.counters.end() && tooSmall->second > 0) {
    found.push_back(
        {ks::AilmentReason::circlesTooSmall,
         ks::stringWithFormat("%d geofences are smaller than the uncertainty of positions in them",
                              tooSmall->second),
         "let the portal make them larger"});
  }
  if (!health.isCacheWritable) {
    found.push_back({ks::AilmentReason::folders, "the cache folder cannot be written",
                     "make room on the disk and check the folder's permissions"});
  }
  if (health.lastClockJump &&
      ks::secondsBetween(*health.lastClockJump, health.now) < ks::Health::kJumpToldSeconds) {
    found.push_back({ks::AilmentReason::clockJumped,
                     ks::stringWithFormat("the clock was set, %d times since the library was made",
                                          health.clockJumps),
                     "let a time service keep the clock"});
  }
}

void judgeStatistics(const ks::Health& health, Ailments& found) {
  if (!health.statistics) return;
  if (health.areStatisticsStuck && health.statistics->waiting > 0) {
    found.push_back({ks::AilmentReason::statisticsWaiting,
                     ks::stringWithFormat("the portal does not take statistics, %d wait",
                                          health.statistics->waiting),
                     kCheckNetwork});
  }
  if (health.statisticsDropped > 0) {
    found.push_back({ks::AilmentReason::statisticsDropped,
                     ks::stringWithFormat("%d statistics were dropped since the library was made",
                                          health.statisticsDropped),
                     "bring the device online more often, and keep to one portal"});
  }
}

ks::Value ledgerValue(const std::optional<ks::StatsLedger>& ledger) {
  if (!ledger) return ks::Null{};
  ks::Dictionary dropped;
  for (const auto& [reason, times] : ledger->dropped) dropped.set(reason, times);
  return ks::Dictionary{{"made", ledger->made},
                        {"waiting", ledger->waiting},
                        {"sent", ledger->sent},
                        {"refused", ledger->refused},
                        {"dropped", std::move(dropped)}};
}

ks::Value counterValues(const std::map<std::string, std::int64_t>& counters) {
  if (counters.empty()) return ks::Null{};
  ks::Dictionary values;
  for (const auto& [name, count] : counters) values.set(name, count);
  return values;
}

ks::Array ailmentList(const Ailments& ailments) {
  ks::Array list;
  for (const ks::Ailment& ailment : ailments) {
    list.items.emplace_back(
        ks::Dictionary{{"reason", ailment.reason}, {"text", ailment.text}, {"mend", ailment.mend}});
  }
  return list;
}

const char* permissionText(ks::CLAuthorizationStatus permission) {
  switch (permission) {
    case ks::CLAuthorizationStatus::notDetermined:
      return "notDetermined";
    case ks::CLAuthorizationStatus::restricted:
      return "restricted";
    case ks::CLAuthorizationStatus::denied:
      return "denied";
    case ks::CLAuthorizationStatus::authorizedAlways:
      return "always";
    case ks::CLAuthorizationStatus::authorizedWhenInUse:
      return "whenInUse";
  }
  return "notDetermined";
}

ks::Value adapterText(const std::optional<ks::CBManagerState>& adapter) {
  if (!adapter) return ks::Null{};
  static constexpr const char* kNames[] = {"unknown",      "resetting",  "unsupported",
                                           "unauthorized", "poweredOff", "poweredOn"};
  return kNames[static_cast<std::size_t>(*adapter)];
}

}  // namespace

void ks::Health::judge() {
  ailments.clear();
  judgeStart(*this, ailments);
  judgePortal(*this, ailments);
  judgeDevice(*this, ailments);
  judgeStatistics(*this, ailments);
}

ks::Dictionary ks::Health::dictionary() const {
  ks::Dictionary replies;
  for (const auto& [kind, date] : lastReply) {
    replies.set(kind, ks::Dictionary{{"at", moment(date)}, {"age", age(date, now)}});
  }
  const std::size_t named = std::min(regionsRefused.size(), kMostNames);
  const auto last = regionsRefused.begin() + static_cast<std::ptrdiff_t>(named);
  return {{"well", isWell()},
          {"at", moment(now)},
          {"since", moment(since)},
          {"started", started},
          {"starting", starting},
          {"permission", permissionText(permission)},
          {"deaf", isDeaf},
          {"lastReply", std::move(replies)},
          {"failingSince", moment(failingSince)},
          {"loginRefusedSince", moment(loginRefusedSince)},
          {"zonesKnown", count(zonesKnown)},
          {"regionsMonitored", count(regionsMonitored)},
          {"regionsRefused", count(regionsRefused.size())},
          {"refusedRegions", ks::Array(std::vector<ks::Value>(regionsRefused.begin(), last))},
          {"lastPacketAge", age(lastPacket, now)},
          {"lastFixAge", age(lastFix, now)},
          {"adapter", adapterText(adapter)},
          {"receiverGain", orNull(receiverGain)},
          {"counters", counterValues(counters)},
          {"statistics", ledgerValue(statistics)},
          {"cacheWritable", isCacheWritable},
          {"clockJumps", clockJumps},
          {"ailments", ailmentList(ailments)}};
}
