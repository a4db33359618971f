#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>

#include "BeaconSDK/Platform/Http/HttpClient.h"
#include "BeaconSDK/Platform/Http/HttpURLLoadingSystem.h"
#include "BeaconSDK/Platform/Http/HttpWorker.h"

namespace ks {

/// What the sessions of one loading system share: its worker, and on that worker their clients.
/// Sessions may hold it longer than the loading system lives; once closed it does nothing any more.
class HttpEnvironment {
 public:
  HttpEnvironment(HttpOptions options, std::weak_ptr<HttpObserver> observer)
      : options_(std::move(options)), observer_(std::move(observer)) {}

  const HttpOptions& options() const { return options_; }
  bool isClosed() const { return isClosed_; }
  /// Ends every client and the worker. Not on the worker's thread.
  void close();

  /// Makes a client on the worker and answers its number.
  std::uint64_t addClient(HttpClientOptions options);
  /// Ends the client on the worker, and releases `owned` there.
  void removeClient(std::uint64_t number, std::shared_ptr<void> owned);
  /// Runs `work` on the worker with the client; false when the environment is closed.
  bool withClient(std::uint64_t number, std::function<void(HttpClient&)> work);

  /// Tells the observer of a new transfer and answers its identifier.
  std::uint64_t beginTransfer();
  void announceReport(std::uint64_t id);
  void endTransfer(const HttpExchange& exchange);

 private:
  const HttpOptions options_;
  const std::weak_ptr<HttpObserver> observer_;
  std::atomic<bool> isClosed_ = false;
  std::atomic<std::uint64_t> lastClient_ = 0;
  /// Of the worker's thread only.
  std::map<std::uint64_t, std::unique_ptr<HttpClient>> clients_;
  /// Last, so that nothing it uses goes before it.
  HttpWorker worker_{"KSHttp"};
};

/// What the observer is told of a transfer.
HttpExchange exchangeOf(std::uint64_t id, HttpExchange::Kind kind, const NSURLRequest& request,
                        const HttpOutcome& outcome);

}  // namespace ks
