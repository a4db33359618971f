#include "BeaconSDK/Platform/Linux/Positions/LinuxPositions.h"

#include <algorithm>
#include <memory>
#include <tuple>
#include <utility>

namespace ks {

namespace {

using Stage = PositionSourceStatus::Stage;

constexpr const char* kServiceName = "Positions";

}  // namespace

LinuxPositions::LinuxPositions(const LinuxServiceContext& context, std::uint16_t gpsdPort)
    : context_(context),
      geoClue_(context.clock, context.mainQueue, context.bundleIdentifier,
               {[this](const auto& report) { reported(PositionSource::geoClue, report); },
                [this] { geoClueChanged(); }}),
      gpsd_(context.mainQueue, gpsdPort,
            {[this](const auto& report) { reported(PositionSource::gpsd, report); },
             [this] { sourcesChanged(); }}) {}

void LinuxPositions::locationDemandChanged(const LocationDemand& demand) {
  // Without permission nothing is demanded, whatever people want: the waiting goes on.
  if (refused_) return;
  demand_ = demand;
  apply();
}

void LinuxPositions::apply() {
  std::optional<GeoClueRequest> request;
  if (isWanted()) request = geoClueRequest(*demand_.positionAccuracy, demand_.positionInterval);
  geoClue_.setWanted(request);
  gpsd_.setWanted(isWanted() && !refused_);
  if (!isWanted()) {
    choice_ = {};
    repeat_.cancel();
    hopeless_ = false;
  }
  sourcesChanged();
}

void LinuxPositions::geoClueChanged() {
  const bool refused = geoClue_.permission() == GeoClue::Permission::refused;
  if (std::exchange(refused_, refused) != refused) {
    choice_ = {};
    repeat_.cancel();
    context_.location.setAuthorizationStatus(refused ? CLAuthorizationStatus::denied
                                                     : CLAuthorizationStatus::authorizedAlways);
    // In a task of its own, because this is the source's own call.
    permission_.arm(context_.mainQueue, Seconds{0}, [this] {
      if (!refused_) demand_ = context_.location.demand();
      apply();
    });
  }
  sourcesChanged();
}

void LinuxPositions::sourcesChanged() {
  const auto& geoClue = geoClue_.status();
  const auto& gpsd = gpsd_.status();
  if (geoClue.stage == Stage::unusable) choice_.forget(PositionSource::geoClue);
  if (!isWanted() || geoClue.stage == Stage::starting || gpsd.stage == Stage::starting) return;
  const std::tuple logged(refused_, geoClue.stage, gpsd.stage);
  if (std::exchange(logged_, logged) != logged) {
    context_.console.log("Positions: " + state().detail);
  }
  const bool hopeless = geoClue.stage == Stage::unusable && gpsd.stage == Stage::unusable;
  if (std::exchange(hopeless_, hopeless) == hopeless || !hopeless) return;
  context_.location.positionFailed(locationError(CLErrorCode::locationUnknown));
}

void LinuxPositions::reported(PositionSource source, const PositionReport& report) {
  if (refused_ || !isWanted()) return;
  const Seconds now = context_.clock.uptime();
  const CLLocation fix{report.coordinate, report.horizontalAccuracy,
                       context_.clock.now() - report.age};
  if (choice_.offer(source, fix, now - report.age, now)) tell(fix);
}

void LinuxPositions::tell(const CLLocation& fix) {
  const auto pause = std::max(kRepeatInterval, demand_.positionInterval);
  repeat_.arm(context_.mainQueue, pause, [this] {
    auto kept = choice_.best(context_.clock.uptime());
    if (!kept) return;
    // A source that reports changes only still says so by its silence.
    kept->timestamp = context_.clock.now();
    tell(*kept);
  });
  context_.location.handleFix(fix);
}

ServiceState LinuxPositions::state() const {
  const auto& geoClue = geoClue_.status();
  const auto& gpsd = gpsd_.status();
  if (!isWanted()) return {kServiceName, true, "nothing asks for positions", ""};
  if (refused_) return {kServiceName, false, geoClue.detail, geoClue.mend};
  const std::string detail = geoClue.detail + "; " + gpsd.detail;
  const bool usable = geoClue.stage == Stage::ready || gpsd.stage == Stage::ready;
  if (usable) return {kServiceName, true, detail, ""};
  return {kServiceName, false, detail, geoClue.mend.empty() ? gpsd.mend : geoClue.mend};
}

}  // namespace ks
