#pragma once

#include <cstdint>

#include "tools/ksbeacon/scenario/Scenario.h"

namespace ks::tool {

/// Returns the scenario that visitor `number` of the population lives through: the same world, from
/// this visitor's arrival until it has left for the last time. Depends on the scenario, its seed
/// and the number alone.
///
/// The visitor's walk and phone replace the scenario's; events and expectations are left out.
/// Between visits on different days the application is not running. Requires a population.
Scenario visitorOf(const Scenario& scenario, std::uint64_t number);

}  // namespace ks::tool
