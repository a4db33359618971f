#pragma once

#include <string>
#include <vector>

namespace ks::tool {

/// What `replay` was asked for.
struct ReplayArguments {
  std::string recording;
  /// Seconds of the timeline; below 0: from its start, to its end.
  double from = -1;
  double until = -1;
  /// A portal's documents instead of the recorded replies.
  std::string documents;
  /// Names, "all" or "none"; empty: the recording's.
  std::vector<std::string> refinements;
  /// Only what differs from the recorded day.
  bool compare = false;
  bool json = false;
  bool verbose = false;
};

/// Replays, prints the timeline or how two days differ; returns the exit code.
int runReplayJob(const ReplayArguments& arguments);

}  // namespace ks::tool
