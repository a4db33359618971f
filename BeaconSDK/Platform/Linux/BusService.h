#pragma once

#include <gio/gio.h>

#include <functional>
#include <memory>
#include <string>

#include "BeaconSDK/Platform/Api/Foundation.h"

namespace ks {

/// One method call. `parameters` may be floating and is consumed; a reply of another type than
/// `replyType` counts as an error.
struct BusCall {
  std::string path;
  std::string interface;
  std::string method;
  GVariant* parameters = nullptr;
  const char* replyType = nullptr;
  Seconds timeout{5};
};

/// A service on the system bus, followed by its name: told when it comes and goes, also when the
/// bus itself does. The library never starts a service.
///
/// Main thread only; nothing blocks. No callback comes from within a call, nor after the service
/// object is gone.
class BusService {
 public:
  /// `reply` is null on failure, `error` on success. `descriptors` may be null.
  using Reply = std::function<void(GVariant* reply, GUnixFDList* descriptors, const GError* error)>;
  using Signal = std::function<void(GVariant* parameters)>;

  BusService(std::string name, DispatchQueue& queue, std::function<void(bool present)> presence);
  BusService(const BusService&) = delete;
  BusService& operator=(const BusService&) = delete;
  ~BusService();

  bool isPresent() const;
  /// Fails at once, in a task of its own, while the service is not present.
  void call(const BusCall& call, Reply reply);
  /// Subscribes for as long as the service object lives, over restarts of the service and the bus.
  /// Signals whose parameters have another type are left out.
  void onSignal(std::string path, std::string interface, std::string member, const char* type,
                Signal handler);
  /// Ends all subscriptions to `path`.
  void forgetSignals(const std::string& path);

 private:
  class Core;
  std::shared_ptr<Core> core_;
};

}  // namespace ks
