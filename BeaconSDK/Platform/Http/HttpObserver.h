#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "BeaconSDK/Platform/Api/Error.h"
#include "BeaconSDK/Platform/Api/URLSession.h"
#include "BeaconSDK/Platform/Api/Value.h"

namespace ks {

/// One finished transfer.
struct HttpExchange {
  enum class Kind { download, upload, data };

  /// Unique within the process, in the order in which transfers were started.
  std::uint64_t id = 0;
  Kind kind = Kind::download;
  std::string method;
  /// The requested URL, before redirects.
  NSURL url;
  /// The request's body; empty if only the upload's file holds it.
  Data body;
  /// The final reply's status; absent when none arrived.
  std::optional<int> status;
  std::optional<Error> error;
  /// Size of the reply's body as delivered, after decoding.
  std::uint64_t bytesReceived = 0;
  std::uint64_t bytesSent = 0;
  /// The body came from the cache, possibly after the server confirmed it.
  bool fromCache = false;
};

/// Observes every transfer of a loading system. Each started transfer ends exactly once unless the
/// loading system, or the delegate queue with its pending tasks, is destroyed first.
class HttpObserver {
 public:
  virtual ~HttpObserver() = default;
  /// Called on the thread that starts the transfer, inside `resume`, `cancel` of a task that was
  /// never resumed, or `dataWithContentsOfURL`.
  virtual void transferDidStart(std::uint64_t id) = 0;
  /// Called on the worker's thread, right before the task with the transfer's events is put on the
  /// delegate queue. Not for `dataWithContentsOfURL`.
  virtual void transferWillReport(std::uint64_t /*id*/) {}
  /// Called on the session's delegate queue, in the same task of that queue as the delegate's
  /// events and right after the last of them; for `dataWithContentsOfURL` on the waiting thread,
  /// before it returns; for `loadData` on the worker's thread, before its completion.
  virtual void transferDidEnd(const HttpExchange& exchange) = 0;
};

}  // namespace ks
