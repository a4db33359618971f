#pragma once

#include <cstdint>

namespace ks {

/// A small random generator that gives the same numbers on every machine, which the standard
/// distributions do not promise. The mixing constants are those of Steele, Lea and Flood, "Fast
/// splittable pseudorandom number generators" (2014).
class SplitMix64 {
 public:
  explicit SplitMix64(std::uint64_t seed) : state_(seed) {}

  std::uint64_t next() { return mix(state_ += 0x9E3779B97F4A7C15U); }

  /// From 0 up to, not including, 1.
  double uniform() { return static_cast<double>(next() >> 11) * 0x1.0p-53; }

  /// A number that depends on every bit of `value`.
  static std::uint64_t mix(std::uint64_t value) {
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9U;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBU;
    return value ^ (value >> 31);
  }

 private:
  std::uint64_t state_;
};

}  // namespace ks
