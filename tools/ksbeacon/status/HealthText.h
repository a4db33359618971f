#pragma once

#include <string>

#include "BeaconSDK/Classes/Manager/Health/Health.h"
#include "BeaconSDK/Platform/Api/Value.h"

namespace ks::tool {

/// For people: what is wrong and what to do about it, then the facts, a line each. `health` is what
/// `ks::Health::dictionary` made, perhaps of another version: what is missing is left out.
std::string healthText(const Dictionary& health, bool colours);

/// In the text format that a node exporter collects; docs/linux.md names the metrics.
std::string healthMetrics(const ks::Health& health);

}  // namespace ks::tool
