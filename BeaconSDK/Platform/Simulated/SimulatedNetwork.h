#pragma once

#include <filesystem>
#include <functional>
#include <memory>

#include "BeaconSDK/Platform/Http/HttpURLLoadingSystem.h"
#include "BeaconSDK/Platform/Simulated/SimulatedLoop.h"

namespace ks {

/// Real HTTP for a device in virtual time, which stops while a transfer is running.
class SimulatedNetwork {
 public:
  /// Called when a transfer ends, on the thread that runs the loop.
  using Listener = std::function<void(const HttpExchange&)>;

  SimulatedNetwork(std::shared_ptr<SimulatedLoop> loop, HttpOptions options);

  URLLoadingSystem& loadingSystem() { return loadingSystem_; }
  /// Sets the listener; may be null.
  void setListener(Listener listener);

 private:
  class Transfers;

  std::shared_ptr<Transfers> transfers_;
  HttpURLLoadingSystem loadingSystem_;
};

}  // namespace ks
