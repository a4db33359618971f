#pragma once

#include <string>
#include <vector>

#include "BeaconSDK/Platform/Api/Error.h"
#include "tools/ksbeacon/scenario/Scenario.h"
#include "tools/ksbeacon/timeline/TimelineEvent.h"

namespace ks::tool {

/// A zone with content that stands in a scenario's world.
struct SiteZone {
  std::string zone;
  std::string content;
  /// The content's title; may be empty.
  std::string title;
  CLLocationCoordinate2D coordinate{};
  /// Of a circle; around a beacon, the distance at which it counts as near, or as immediate for a
  /// content that asks for that.
  Metres radius;
  bool isCircle = false;
};

/// Returns the zones of the portal's documents; a beacon that the scenario does not have is left
/// out. An error names the first mistake of the documents, or a category that the population names
/// and the documents do not have.
Result<std::vector<SiteZone>> siteZones(const Scenario& scenario);

/// When the walk of the scenario really enters and leaves zones, whatever the device notices of it,
/// as events of the kind `presence` in their order.
std::vector<TimelineEvent> presencesOf(const Scenario& scenario,
                                       const std::vector<SiteZone>& zones);

}  // namespace ks::tool
