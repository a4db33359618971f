#pragma once

#include <cstdint>
#include <optional>
#include <tuple>

#include "BeaconSDK/Platform/Linux/Bus/LinuxServiceContext.h"
#include "BeaconSDK/Platform/Linux/Bus/ServiceState.h"
#include "BeaconSDK/Platform/Linux/Positions/GeoClue.h"
#include "BeaconSDK/Platform/Linux/Positions/Gpsd.h"
#include "BeaconSDK/Platform/Linux/Positions/PositionChoice.h"

namespace ks {

/// A device that stands still is told of again after this time, or the demanded interval where
/// that is longer: the engine believes unclear crossings only when later fixes agree, and GeoClue
/// reports changes only.
inline constexpr Seconds kRepeatInterval{10};

/// Positions from GeoClue and from gpsd; `PositionChoice` says which are told.
///
/// - Fixes carry the date of the engine's clock, less their age.
/// - A refusal by GeoClue is the user's: the authorization becomes `denied`, gpsd is left too, and
///   only the waiting for permission goes on. Given again it becomes `authorizedAlways`. Without
///   GeoClue, or before its answer, the authorization stays as it is.
/// - When neither source is usable, those who wait for a position are told so once.
/// - With nothing demanded there is no connection and no timer.
class LinuxPositions {
 public:
  explicit LinuxPositions(const LinuxServiceContext& context, std::uint16_t gpsdPort = kGpsdPort);

  /// Called once after the positions were made and on every change.
  void locationDemandChanged(const LocationDemand& demand);
  ServiceState state() const;

 private:
  bool isWanted() const { return demand_.positionAccuracy.has_value(); }
  void apply();
  void geoClueChanged();
  void sourcesChanged();
  void reported(PositionSource source, const PositionReport& report);
  void tell(const CLLocation& fix);

  LinuxServiceContext context_;
  LocationDemand demand_;
  bool refused_ = false;
  bool hopeless_ = false;
  /// Whether refused, and the sources' stages, when last logged.
  std::optional<std::tuple<bool, PositionSourceStatus::Stage, PositionSourceStatus::Stage>> logged_;
  PositionChoice choice_;
  Wakeup repeat_;
  Wakeup permission_;
  GeoClue geoClue_;
  Gpsd gpsd_;
};

}  // namespace ks
