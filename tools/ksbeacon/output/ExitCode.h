#pragma once

namespace ks::tool {

/// How the command ends; scripts may rely on the numbers.
enum ExitCode : int {
  kSuccess = 0,
  /// The work was done and its answer is no: an expectation failed.
  kFailure = 1,
  /// A wrong option, or a file with a mistake in it.
  kUsage = 2,
  /// Something outside cannot be had now: a port, a portal, a folder to write to.
  kUnavailable = 3,
};

}  // namespace ks::tool
