#pragma once

#include <cstdint>

namespace ks {

/// What became of the input so far.
struct LocationCounters {
  std::uint64_t advertisements = 0;
  /// Elements or beacon frames that were malformed, truncated or padding.
  std::uint64_t skippedElements = 0;
  /// Beacon frames of a watched or ranged proximity UUID.
  std::uint64_t matchedBeacons = 0;
  /// Beacons that found no room because too many of their UUID are around.
  std::uint64_t untrackedBeacons = 0;
  /// Packets that claim a power at 1 m that no beacon has; the usual one stood in for it.
  std::uint64_t replacedPowers = 0;
  /// Beacons whose identity two senders use in turn: distances between them mean nothing.
  std::uint64_t sharedIdentities = 0;
  std::uint64_t fixes = 0;
  /// Fixes that were invalid or late, or jumps that another fix denied.
  std::uint64_t rejectedFixes = 0;
  /// Circles that the device stood in and that were smaller than the uncertainty of its fixes.
  std::uint64_t tooSmallCircles = 0;
  /// Times that the store could not save.
  std::uint64_t failedSaves = 0;
  friend bool operator==(const LocationCounters&, const LocationCounters&) = default;
};

}  // namespace ks
