#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace ks {

/// Input processed so far.
struct LocationCounters {
  std::uint64_t advertisements = 0;
  /// Elements or beacon frames that were malformed, truncated or padding.
  std::uint64_t skippedElements = 0;
  /// Beacon frames of a watched or ranged proximity UUID.
  std::uint64_t matchedBeacons = 0;
  /// Beacons not tracked because too many of their UUID are in range.
  std::uint64_t untrackedBeacons = 0;
  /// Beacons heard once that were forgotten to make room for others.
  std::uint64_t evictedBeacons = 0;
  /// Packets with an impossible power at 1 m; the usual one was used instead.
  std::uint64_t replacedPowers = 0;
  /// Beacons whose identity two senders use alternately: their distances are meaningless.
  std::uint64_t sharedIdentities = 0;
  std::uint64_t fixes = 0;
  /// Fixes that were invalid, late, or jumps that the next fix contradicted.
  std::uint64_t rejectedFixes = 0;
  /// Circles around the device that were smaller than the uncertainty of its fixes.
  std::uint64_t tooSmallCircles = 0;
  /// Failed saves of the store.
  std::uint64_t failedSaves = 0;
  /// All of them by their names here.
  std::map<std::string, std::int64_t> byName() const;
  friend bool operator==(const LocationCounters&, const LocationCounters&) = default;
};

}  // namespace ks
