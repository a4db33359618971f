#pragma once

#include <algorithm>
#include <utility>

#include "BeaconSDK/Platform/Api/Date.h"

namespace ks {

/// How long to wait before a service that failed is tried again: twice as long each time, at most
/// one minute.
class RetryPause {
 public:
  explicit RetryPause(Seconds first = Seconds{1}) : first_(first), next_(first) {}
  /// Returns the pause before the next attempt, and doubles the one after it.
  Seconds next() { return std::exchange(next_, std::min(next_ * 2, Seconds{60})); }
  /// After a success: the first pause again.
  void reset() { next_ = first_; }

 private:
  Seconds first_;
  Seconds next_;
};

}  // namespace ks
