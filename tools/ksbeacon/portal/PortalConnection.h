#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <string>

#include "BeaconSDK/Platform/Linux/Loop/GLibOwned.h"
#include "tools/ksbeacon/portal/PortalWorker.h"

namespace ks::portal {

/// Writes pieces of bytes to a connection, with a delay between them, and closes it: how faulty
/// replies get out. Server's thread only.
class PortalConnection : public std::enable_shared_from_this<PortalConnection> {
 public:
  PortalConnection(GObjectOwned<GIOStream> stream, std::deque<std::string> pieces, Seconds delay);

  /// Calls `done` when the connection is closed, by whichever side. The object lives until then.
  void start(std::function<void()> done);
  /// Stops writing and closes.
  void cancel();

 private:
  void writeNext();
  void close();

  GObjectOwned<GIOStream> stream_;
  std::deque<std::string> pieces_;
  const Seconds delay_;
  GObjectOwned<GCancellable> cancellable_;
  std::function<void()> done_;
  std::string current_;
  PortalTimer timer_;
};

}  // namespace ks::portal
