#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "BeaconSDK/Classes/Settings/Refinements.h"

namespace ks::tool {

/// Adds "--refinements NAMES" to `command`: names separated by commas, "all" or "none".
CLI::Option* addRefinementOption(CLI::App& command, std::vector<std::string>& chosen,
                                 const std::string& usual);
ks::Refinements refinementsIn(const std::vector<std::string>& chosen);

}  // namespace ks::tool
