#pragma once

#include "BeaconSDK/Platform/Api/Foundation.h"

/// The clock of zones and contents, for their stays, blocks and counting periods: the platform's,
/// unless an engine with its own clock is running; one process is one device. Any thread.
namespace KSZoneClock {

ks::Date now();

/// Makes `now` use `clock` until the scope ends or another one begins.
class Scope {
 public:
  /// `clock` must outlive the scope.
  explicit Scope(const ks::Clock& clock);
  Scope(const Scope&) = delete;
  Scope& operator=(const Scope&) = delete;
  ~Scope();

 private:
  const ks::Clock& clock_;
};

}  // namespace KSZoneClock
