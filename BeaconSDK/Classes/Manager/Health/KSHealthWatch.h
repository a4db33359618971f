#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>

#include "BeaconSDK/Classes/Manager/Health/Health.h"
#include "BeaconSDK/Classes/Network/KSContentDownloadType.h"
#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Api/Foundation.h"

/// Records the last signs of life of the portal and the device. Called by the manager as events
/// pass through it; decides nothing. Main queue only.
class KSHealthWatch {
 public:
  /// A wall clock that moves by more than this against elapsed time was set: no time service slews
  /// so far between two events.
  static constexpr ks::Seconds kJump{5};

  /// `clock` is the device's own and must outlive the watch.
  explicit KSHealthWatch(const ks::Clock& clock);

  void replied(KSContentDownloadType type);
  void downloadFailed(const ks::Error& error);
  void loginRefused();
  void beaconsRanged();
  void located();
  void regionRefused(const std::string& identifier) { regionsRefused_.insert(identifier); }
  void regionTaken(const std::string& identifier) { regionsRefused_.erase(identifier); }
  /// Compares the wall clock with elapsed time; true when it was set since the last call.
  bool lookAtClock();

  /// Returns the recorded facts; other members have their defaults.
  ks::Health health() const;

 private:
  ks::Seconds wallLead() const;

  const ks::Clock& clock_;
  const ks::Date since_;
  /// The wall clock less elapsed time, at the last check.
  ks::Seconds lead_;
  std::map<std::string, ks::Date> lastReply_;
  std::optional<ks::Date> failingSince_;
  std::string lastFailure_;
  std::optional<ks::Date> loginRefusedSince_;
  std::optional<ks::Date> lastPacket_;
  std::optional<ks::Date> lastFix_;
  std::set<std::string> regionsRefused_;
  int clockJumps_ = 0;
  std::optional<ks::Date> lastClockJump_;
};
