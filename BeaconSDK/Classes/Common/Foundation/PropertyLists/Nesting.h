#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "BeaconSDK/Classes/Common/Foundation/PropertyLists/PropertyList.h"

namespace ks {

/// Limits the nesting of a graph whose nodes are visited once and shared afterwards: neither the
/// walk nor any path in the result becomes longer than `PropertyList::kMaximumNesting`.
class Nesting {
 public:
  /// Enters a container; false when it is nested too deeply.
  bool enter() {
    open_.push_back(0);
    return open_.size() <= PropertyList::kMaximumNesting;
  }
  /// Leaves the innermost container and returns its height: 1 when it contains no other.
  std::uint32_t leave() {
    const std::uint32_t height = open_.back() + 1;
    open_.pop_back();
    if (!open_.empty()) open_.back() = std::max(open_.back(), height);
    return height;
  }
  /// Records a reference to a container of this height that was left before; false when it would be
  /// nested too deeply here.
  bool meet(std::uint32_t height) {
    if (!open_.empty()) open_.back() = std::max(open_.back(), height);
    return open_.size() + height <= PropertyList::kMaximumNesting;
  }

 private:
  /// For each open container, the greatest height among its members so far.
  std::vector<std::uint32_t> open_;
};

}  // namespace ks
