#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "BeaconSDK/Classes/Stats/StatsLedger.h"
#include "BeaconSDK/Platform/Api/CoreBluetooth.h"
#include "BeaconSDK/Platform/Api/CoreLocation.h"
#include "BeaconSDK/Platform/Api/Date.h"
#include "BeaconSDK/Platform/Api/Value.h"

namespace ks {

/// Stable codes of health problems, the same in every report of the library's state.
namespace AilmentReason {

inline constexpr const char* notStarted = "notStarted";
inline constexpr const char* permission = "permission";
inline constexpr const char* loginRefused = "loginRefused";
inline constexpr const char* portal = "portal";
inline constexpr const char* bluetooth = "bluetooth";
inline constexpr const char* positions = "positions";
inline constexpr const char* regionsRefused = "regionsRefused";
inline constexpr const char* circlesTooSmall = "circlesTooSmall";
inline constexpr const char* deaf = "deaf";
inline constexpr const char* statisticsWaiting = "statisticsWaiting";
inline constexpr const char* statisticsDropped = "statisticsDropped";
inline constexpr const char* folders = "folders";
inline constexpr const char* clockJumped = "clockJumped";

}  // namespace AilmentReason

/// A problem that keeps the library from working.
struct Ailment {
  /// One of `AilmentReason`, or a code of the host's own.
  std::string reason;
  /// One sentence: what is wrong.
  std::string text;
  /// What to do about it.
  std::string mend;
};

/// A snapshot of the library's state: facts, and the problems found in them.
struct Health {
  /// Seconds without a good reply after which the portal counts as silent: two refresh intervals.
  static constexpr double kSilentAfterSeconds = 7200;
  /// Seconds without a position after the start that count as a problem: longer than a cold start
  /// of a satellite receiver.
  static constexpr double kNoPositionAfterSeconds = 600;
  /// Seconds for which a jump of the wall clock is reported.
  static constexpr double kJumpToldSeconds = 3600;

  /// By the wall clock, as are all dates here.
  Date now;
  /// When the manager was created.
  Date since;
  bool started = false;
  bool starting = false;
  CLAuthorizationStatus permission = CLAuthorizationStatus::notDetermined;
  /// True after `reset`: no event of the device arrives until a new manager is created.
  bool isDeaf = false;

  /// Time of the last good reply by kind: "categories", "locations", "zones", "contents",
  /// "geofences".
  std::map<std::string, Date> lastReply;
  /// The first failed download since the last good reply, and the last one's error.
  std::optional<Date> failingSince;
  std::string lastFailure;
  /// Since when the portal has refused the credentials; absent after a good reply.
  std::optional<Date> loginRefusedSince;

  std::size_t zonesKnown = 0;
  std::size_t regionsMonitored = 0;
  /// Identifiers of regions that the device refused to monitor.
  std::vector<std::string> regionsRefused;
  /// When a beacon was last ranged, and when the last position came.
  std::optional<Date> lastPacket;
  std::optional<Date> lastFix;
  /// False without the user's consent to positions: their absence is then no problem.
  bool wantsPositions = true;
  /// Absent before the first start.
  std::optional<CBManagerState> adapter;
  /// Receiver gain in dB; absent unless the host provides it.
  std::optional<double> receiverGain;

  /// What became of the device's packets and fixes, by name; empty where the location service
  /// counts none.
  std::map<std::string, std::int64_t> counters;

  /// Absent unless statistics are kept.
  std::optional<StatsLedger> statistics;
  /// True when the portal has not accepted the oldest waiting event.
  bool areStatisticsStuck = false;
  /// Of the ledger's dropped ones, those since the manager was made.
  std::int64_t statisticsDropped = 0;
  bool isCacheWritable = true;
  /// Number of wall-clock changes by more than `KSHealthWatch::kJump`, and the time of the last
  /// one.
  int clockJumps = 0;
  std::optional<Date> lastClockJump;

  /// The problems found by `judge`, the most serious first.
  std::vector<Ailment> ailments;

  /// Sets `ailments` from the facts.
  void judge();
  bool isWell() const { return ailments.empty(); }
  /// Returns the state as plain JSON kinds: dates in seconds since 1970, ages in seconds, absent
  /// values as null, and at most `kMostNames` of the refused regions.
  Dictionary dictionary() const;
  static constexpr std::size_t kMostNames = 20;
};

}  // namespace ks
