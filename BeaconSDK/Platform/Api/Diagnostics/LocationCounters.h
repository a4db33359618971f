#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "BeaconSDK/Platform/Api/CoreLocation.h"

namespace ks {

/// Input that a location service has processed since it was made.
struct LocationCounters {
  std::uint64_t advertisements = 0;
  /// Elements or beacon frames that were malformed, truncated or padding.
  std::uint64_t skippedElements = 0;
  /// Beacon frames of a watched or ranged proximity UUID.
  std::uint64_t matchedBeacons = 0;
  /// Beacons not tracked because too many of their UUID are in range.
  std::uint64_t untrackedBeacons = 0;
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
  friend bool operator==(const LocationCounters&, const LocationCounters&) = default;

  /// A member and its name, as the state of the library tells it.
  struct Named {
    std::string_view name;
    std::uint64_t LocationCounters::*member;
  };
  static std::span<const Named> named() {
    static constexpr Named kNamed[] = {{"advertisements", &LocationCounters::advertisements},
                                       {"skippedElements", &LocationCounters::skippedElements},
                                       {"matchedBeacons", &LocationCounters::matchedBeacons},
                                       {"untrackedBeacons", &LocationCounters::untrackedBeacons},
                                       {"replacedPowers", &LocationCounters::replacedPowers},
                                       {"sharedIdentities", &LocationCounters::sharedIdentities},
                                       {"fixes", &LocationCounters::fixes},
                                       {"rejectedFixes", &LocationCounters::rejectedFixes},
                                       {"tooSmallCircles", &LocationCounters::tooSmallCircles},
                                       {"failedSaves", &LocationCounters::failedSaves}};
    return kNamed;
  }
};

/// A location service that counts its input. Not every device's does.
class CountingLocationServices : public LocationServices {
 public:
  /// Main queue only.
  virtual LocationCounters counters() const = 0;
};

}  // namespace ks
