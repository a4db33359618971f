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

/// Stable codes of what can be wrong, the same wherever the state of the library is told.
namespace AilmentReason {

inline constexpr const char* notStarted = "notStarted";
inline constexpr const char* permission = "permission";
inline constexpr const char* loginRefused = "loginRefused";
inline constexpr const char* portal = "portal";
inline constexpr const char* bluetooth = "bluetooth";
inline constexpr const char* positions = "positions";
inline constexpr const char* regionsRefused = "regionsRefused";
inline constexpr const char* deaf = "deaf";
inline constexpr const char* statisticsWaiting = "statisticsWaiting";
inline constexpr const char* statisticsDropped = "statisticsDropped";
inline constexpr const char* folders = "folders";
inline constexpr const char* clockJumped = "clockJumped";

}  // namespace AilmentReason

/// Something that keeps the library from its work.
struct Ailment {
  /// One of `AilmentReason`, or a code of the host's own.
  std::string reason;
  /// One sentence: what is wrong.
  std::string text;
  /// What to do about it.
  std::string mend;
};

/// The state of the library at one moment: facts, and what they say of its health.
struct Health {
  /// Without a good reply for this long the portal counts as silent: two refresh intervals.
  static constexpr double kSilentAfterSeconds = 7200;
  /// A start without a position for this long: longer than a cold start of a receiver.
  static constexpr double kNoPositionAfterSeconds = 600;
  /// A jump of the wall clock is told for this long.
  static constexpr double kJumpToldSeconds = 3600;

  /// By the wall clock, as are all dates here.
  Date now;
  /// When the manager was made.
  Date since;
  bool started = false;
  bool starting = false;
  CLAuthorizationStatus permission = CLAuthorizationStatus::notDetermined;
  /// After `reset` no event of the device arrives until a new manager is made.
  bool isDeaf = false;

  /// The last good reply by kind: "categories", "locations", "zones", "contents", "geofences".
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
  /// False when the user forbids positions: their absence is then no ailment.
  bool wantsPositions = true;
  /// Absent before the first start.
  std::optional<CBManagerState> adapter;
  /// In dB; absent unless the host knows it.
  std::optional<double> receiverGain;

  /// Absent unless statistics are kept.
  std::optional<StatsLedger> statistics;
  /// The portal did not take the first event that waits.
  bool areStatisticsStuck = false;
  bool isCacheWritable = true;
  /// How often the wall clock was set by more than `KSHealthWatch::kJump`, and when last.
  int clockJumps = 0;
  std::optional<Date> lastClockJump;

  /// What is wrong, as `judge` found it; the worst first.
  std::vector<Ailment> ailments;

  /// Fills `ailments` from the facts.
  void judge();
  bool isWell() const { return ailments.empty(); }
  /// Plain JSON kinds; dates in seconds since 1970, ages in seconds, absent values null. Of refused
  /// regions at most `kMostNames` are named.
  Dictionary dictionary() const;
  static constexpr std::size_t kMostNames = 20;
};

}  // namespace ks
