#pragma once

#include "BeaconSDK/Platform/Api/Foundation.h"

/// The clock of zones and contents: their stays, blocks and counting periods are told by it. It is
/// the platform's unless an engine with a clock of its own runs; one process is one device. Any
/// thread.
namespace KSZoneClock {

ks::Date now();

/// Has `now` ask `clock` until the scope ends or another one begins.
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
