#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "BeaconSDK/Platform/Api/CoreLocation.h"
#include "BeaconSDK/Platform/Api/Date.h"
#include "BeaconSDK/Platform/Simulated/SimulatedWalk.h"
#include "tools/ksbeacon/documents/InputError.h"

namespace ks::tool {

/// A point of a recorded or planned way.
struct TrackPoint {
  CLLocationCoordinate2D coordinate;
  /// On all points of a track, rising, or on none.
  std::optional<Date> time;
};

/// Reads a GPX document: the points of its tracks, else of its routes, else its single points. At
/// least one point; files above 16 MiB are refused. `file` only names the document in messages.
std::variant<std::vector<TrackPoint>, InputError> parseGpxTrack(std::string_view text,
                                                                const std::string& file);
std::variant<std::vector<TrackPoint>, InputError> readGpxTrack(const std::string& path);

/// The stops of a walk along the track. Points with times are reached as long after `start` as the
/// track says; without, at the speed of `usual`, whose accuracy all stops have.
std::vector<SimulatedWaypoint> stopsOf(const std::vector<TrackPoint>& track, Date start,
                                       const SimulatedWaypoint& usual);

}  // namespace ks::tool
