#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Api/CoreLocation.h"
#include "BeaconSDK/Platform/Api/Date.h"
#include "BeaconSDK/Platform/Api/Units.h"

namespace ks::tool {

/// Many visitors of a scenario's world: when they come, which way they go, and what phones they
/// carry. Weights are relative to each other and not all 0.
struct Population {
  /// Values are drawn evenly between both.
  struct Range {
    double least = 0;
    double most = 0;
  };

  /// A way on from a place; without `to` the visit ends.
  struct Way {
    std::optional<std::size_t> to;
    double weight = 1;
  };

  struct Place {
    std::string name;
    CLLocationCoordinate2D coordinate{};
    /// Visitors stop anywhere within it.
    Metres radius{1};
    /// Seconds.
    Range stay;
    /// How many begin here.
    double entry = 0;
    /// At least one.
    std::vector<Way> ways;
  };

  struct Arrival {
    Seconds from{0};
    Seconds to{0};
    double weight = 1;
  };

  /// What differs from the scenario's own device.
  struct Phone {
    double weight = 1;
    /// dB
    Range receiverGain;
    bool hasBluetooth = true;
    std::optional<CLAuthorizationStatus> permission{};
    std::optional<bool> foreground{};
    std::vector<std::string> disabledCategories{};
  };

  /// How many visitors come on so many different days.
  struct Visits {
    int days = 1;
    double weight = 1;
  };

  /// How many a study takes unless told otherwise.
  std::uint64_t visitors = 1000;
  /// Over how many days they come, counted from the scenario's start.
  int days = 1;
  /// Metres a second, one for each visitor.
  Range speed{1.4, 1.4};
  /// A visit that lasts as long ends at the next place.
  Seconds longest{7200};
  std::vector<Place> places;
  std::vector<Arrival> arrivals;
  std::vector<Phone> phones;
  std::vector<Visits> visits;
};

}  // namespace ks::tool
