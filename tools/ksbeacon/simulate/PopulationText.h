#pragma once

#include <string>
#include <vector>

#include "tools/ksbeacon/scenario/Scenario.h"
#include "tools/ksbeacon/simulate/SiteZones.h"

namespace ks::tool {

/// What a study needs to know of a scenario and its population, as one JSON object. Requires a
/// population.
std::string populationJson(const Scenario& scenario, const std::vector<SiteZone>& zones);

}  // namespace ks::tool
