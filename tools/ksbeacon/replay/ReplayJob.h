#pragma once

#include <string>
#include <vector>

namespace ks::tool {

/// What `replay` was asked for.
struct ReplayArguments {
  /// One; to compare, any number.
  std::vector<std::string> recordings;
  /// Seconds of the timeline; below 0: from its start, to its end.
  double from = -1;
  double until = -1;
  /// A portal's documents instead of the recorded replies.
  std::string documents;
  /// Names, "all" or "none"; empty: the recording's.
  std::vector<std::string> refinements;
  /// Only what differs from the recorded day.
  bool compare = false;
  /// A page to look at, and a scenario like the day, with its portal's documents beside it. Empty:
  /// none.
  std::string report;
  std::string asScenario;
  /// A file with what is expected of the day; empty: nothing.
  std::string expect;
  bool json = false;
  bool verbose = false;
};

/// Replays, prints the timeline or how two days differ; returns the exit code.
int runReplayJob(const ReplayArguments& arguments);

}  // namespace ks::tool
