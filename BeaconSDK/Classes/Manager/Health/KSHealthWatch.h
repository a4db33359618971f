#pragma once

#include <map>
#include <optional>
#include <string>

#include "BeaconSDK/Classes/Manager/Health/Health.h"
#include "BeaconSDK/Classes/Network/KSContentDownloadType.h"
#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Api/Foundation.h"

/// Records the last signs of life of the portal and the device, by elapsed time: an event of a
/// minute ago stays a minute old, whoever sets the wall clock. Called by the manager as events pass
/// through it; decides nothing. Main queue only.
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
  /// A geofence counts as refused until the portal's next list: what still stands there is tried
  /// again.
  void regionRefused(const ks::CLRegion& region);
  void regionTaken(const std::string& identifier) { regionsRefused_.erase(identifier); }
  /// Compares the wall clock with elapsed time; true when it was set since the last call.
  bool lookAtClock();

  /// Returns the recorded facts; other members have their defaults.
  ks::Health health() const;

 private:
  /// Elapsed time since some moment before the watch was made.
  using Moment = ks::Seconds;

  Moment elapsed() const;
  /// The wall clock less elapsed time.
  ks::Seconds lead() const { return clock_.now().time_since_epoch() - elapsed(); }

  const ks::Clock& clock_;
  const Moment since_;
  /// At the last check.
  ks::Seconds lead_;
  std::map<std::string, Moment> lastReply_;
  std::optional<Moment> failingSince_;
  std::string lastFailure_;
  std::optional<Moment> loginRefusedSince_;
  std::optional<Moment> lastPacket_;
  std::optional<Moment> lastFix_;
  /// By identifier: whether it is a geofence.
  std::map<std::string, bool> regionsRefused_;
  int clockJumps_ = 0;
  std::optional<Moment> lastClockJump_;
};
