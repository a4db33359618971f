#pragma once

#include <gio/gio.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Linux/Loop/GLibOwned.h"
#include "tools/ksbeacon/portal/PortalWorker.h"

namespace ks::portal {

/// A listening TCP socket that strangers cannot wear out: no more connections than a cap, no
/// request that takes for ever to arrive, and accepting goes on after the process ran out of
/// descriptors. Of the thread whose default context it is made in.
class PortalListener {
 public:
  struct Limits {
    /// When one more comes, the one that has waited longest for a request is closed.
    std::size_t connections = 100;
    /// From the connection, or the reply before, until a request has arrived whole. Also how long a
    /// connection may stay idle.
    Seconds request{20};
  };
  /// Takes a new connection; `remote` names it for `requestArrived` and `replied`.
  using Accepted =
      std::function<void(GIOStream* stream, GSocketAddress* local, GSocketAddress* remote)>;
  /// One line about a shortage, once while it lasts.
  using Message = std::function<void(const std::string&)>;

  PortalListener(Limits limits, Accepted accepted, Message message);
  PortalListener(const PortalListener&) = delete;
  PortalListener& operator=(const PortalListener&) = delete;
  /// Stops listening. Connections live on without limits.
  ~PortalListener();

  /// Listens and returns the port. Once.
  Result<std::uint16_t> listen(GSocketAddress* address);

  /// The connection is at work and may take its time until `replied`.
  void requestArrived(GSocketAddress* remote);
  void replied(GSocketAddress* remote);

 private:
  struct Connection;

  void watch();
  void accept();
  void runOut(const std::string& reason);
  bool closeLongestWaiting();
  void forget(GSocketAddress* remote);

  const Limits limits_;
  const Accepted accepted_;
  const Message message_;
  GObjectOwned<GSocket> socket_;
  GSource* source_ = nullptr;
  PortalTimer retry_;
  bool isShort_ = false;
  /// In the order in which they were accepted, to find them by.
  std::uint64_t lastNumber_ = 0;
  std::map<GSocketAddress*, std::unique_ptr<Connection>> connections_;
};

}  // namespace ks::portal
