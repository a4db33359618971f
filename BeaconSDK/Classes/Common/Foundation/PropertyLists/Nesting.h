#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/PropertyList.h"

namespace ks {

/// Bounds a walk over a graph whose nodes are visited once each and shared afterwards: neither the
/// walk itself nor any path through what it builds gets longer than
/// `PropertyList::kMaximumNesting`.
class Nesting {
 public:
  /// Begins a container; false when it lies too deep.
  bool enter() {
    open_.push_back(0);
    return open_.size() <= PropertyList::kMaximumNesting;
  }
  /// Ends the innermost container and returns its height, 1 when it holds no other.
  std::uint32_t leave() {
    const std::uint32_t height = open_.back() + 1;
    open_.pop_back();
    if (!open_.empty()) open_.back() = std::max(open_.back(), height);
    return height;
  }
  /// Meets a container of this height again inside the innermost one; false when it reaches too
  /// deep there.
  bool meet(std::uint32_t height) {
    if (!open_.empty()) open_.back() = std::max(open_.back(), height);
    return open_.size() + height <= PropertyList::kMaximumNesting;
  }

 private:
  /// For each open container the greatest height among its members so far.
  std::vector<std::uint32_t> open_;
};

}  // namespace ks
