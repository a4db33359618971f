#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>

#include "BeaconSDK/Platform/Http/HttpClient.h"
#include "BeaconSDK/Platform/Http/HttpObserver.h"
#include "BeaconSDK/Platform/Http/HttpOptions.h"
#include "BeaconSDK/Platform/Http/HttpWorker.h"

namespace ks {

/// What the sessions of one loading system share: its worker, and on that worker their clients.
/// Sessions may hold it longer than the loading system lives; once closed it does nothing any more.
class HttpEnvironment : public std::enable_shared_from_this<HttpEnvironment> {
 public:
  HttpEnvironment(HttpOptions options, std::weak_ptr<HttpObserver> observer);

  const HttpOptions& options() const { return options_; }
  bool isClosed() const { return isClosed_; }
  /// Ends every client and the worker. Required, not on the worker's thread.
  void close();
  /// The device's date.
  Date now() const;

  /// Makes a client on the worker and returns its number.
  std::uint64_t addClient(int maximumConnectionsPerHost);
  /// Ends the client on the worker, and releases `owned` there.
  void removeClient(std::uint64_t number, std::shared_ptr<void> owned);
  /// Runs `work` on the worker with the client; false when the environment is closed.
  bool withClient(std::uint64_t number, std::function<void(HttpClient&)> work);

  /// Tells the observer of a new transfer and returns its identifier.
  std::uint64_t beginTransfer();
  void announceReport(std::uint64_t id);
  void endTransfer(const HttpExchange& exchange);
  /// Whether data may be fetched from this device, see `HttpOptions`.
  bool allowsLocalData() const { return options_.allowsLocalData || hasLocalPortal_; }
  /// Looks at where a session's request goes: warns once when credentials would cross a network in
  /// clear.
  void checkPrivacy(const NSURLRequest& request);

 private:
  const HttpOptions options_;
  const std::weak_ptr<HttpObserver> observer_;
  std::atomic<bool> isClosed_ = false;
  std::atomic<bool> hasWarned_ = false;
  std::atomic<bool> hasLocalPortal_ = false;
  std::atomic<std::uint64_t> lastClient_ = 0;
  CurlRequestOptions requestOptions_;
  const std::shared_ptr<HttpWorker> worker_;
  /// Of the worker's thread only.
  std::map<std::uint64_t, std::unique_ptr<HttpClient>> clients_;
};

/// What the observer is told of a transfer.
HttpExchange exchangeOf(std::uint64_t id, HttpExchange::Kind kind, const NSURLRequest& request,
                        const HttpOutcome& outcome);

}  // namespace ks
