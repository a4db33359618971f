#pragma once

#include <string>

#include "tools/ksbeacon/scenario/Scenario.h"

namespace ks::tool {

/// Returns the scenario as a document for `readScenario`, one list entry per line. Omits radio
/// effects, faults, batteries, and expectations about anything but contents. `documents` is the
/// portal's folder as the document names it.
std::string scenarioText(const Scenario& scenario, const std::string& documents);

}  // namespace ks::tool
