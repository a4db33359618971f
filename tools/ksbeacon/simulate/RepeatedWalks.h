#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "tools/ksbeacon/scenario/Scenario.h"
#include "tools/ksbeacon/simulate/Simulation.h"

namespace ks::tool {

/// What many walks through one scenario had in common, each with other noise.
struct RepeatedWalks {
  /// Why they could not be made; empty when they were.
  std::string failure;
  /// It ended the first walk, and with it the work.
  bool portalIsSilent = false;
  /// Not all of them were made.
  bool interrupted = false;
  std::uint64_t walks = 0;
  /// Walks in which each content fired at least once, by its identifier; those that a walk's
  /// expectations name are there even when they never fired.
  std::map<std::string, std::uint64_t> fired;
  /// Walks that met all of the scenario's expectations.
  std::uint64_t asExpected = 0;
};

/// Walks `count` times with rising seeds, beginning at the options' or the scenario's.
RepeatedWalks repeatWalks(const Scenario& scenario, SimulationOptions options, std::uint64_t count);

}  // namespace ks::tool
