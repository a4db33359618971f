#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ks::tool {

/// What `simulate` was asked for.
struct SimulateArguments {
  /// A scenario's file, or a GPX track.
  std::string scenario;
  /// With a track: the folder of the portal's documents.
  std::string documents;
  /// Seconds; below 0: to the scenario's end.
  double until = -1;
  std::optional<std::uint64_t> seed;
  /// Of the scenario's population; 0: its own walk.
  std::uint64_t visitor = 0;
  std::string state;
  /// The one that is meant, of several; empty: all.
  std::string device;
  std::string portal;
  std::string report;
  /// The recording's file.
  std::string record;
  bool isPrivate = false;
  /// Simulated seconds per real second; 0: as fast as it goes.
  double speed = 0;
  /// Walks to compare; 0: one, with its timeline.
  std::uint64_t repeat = 0;
  std::string vary = "noise";
  /// Names, "all" or "none"; empty: the scenario's.
  std::vector<std::string> refinements;
  bool json = false;
  bool log = false;
  bool verbose = false;
};

/// Reads the scenario, walks it, prints the timeline or the tally, writes the report; returns the
/// exit code.
int runSimulateJob(const SimulateArguments& arguments);

}  // namespace ks::tool
