#pragma once

#include <compare>

namespace ks {

/// A length in metres.
struct Metres {
  double value = 0;
  friend auto operator<=>(const Metres&, const Metres&) = default;
};

/// A radio signal strength in decibels relative to one milliwatt; negative in practice.
struct Dbm {
  double value = 0;
  friend auto operator<=>(const Dbm&, const Dbm&) = default;
};

}  // namespace ks
