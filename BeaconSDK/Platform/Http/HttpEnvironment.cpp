#include "BeaconSDK/Platform/Http/HttpEnvironment.h"

#include <chrono>
#include <string>
#include <utility>

#include "BeaconSDK/Platform/Http/CertificateFile.h"
#include "BeaconSDK/Platform/Http/HttpRules.h"

namespace ks {

namespace {

/// How long the worker may take to cancel everything; it waits for nothing but file systems.
constexpr Seconds kClosingTimeout{5};

CurlRequestOptions requestOptionsFor(const HttpOptions& options) {
  CurlRequestOptions result;
  // An unreadable file adds no trust; connections that need it then fail.
  result.certificateAuthorities = readCertificates(options.additionalCertificateAuthorities);
  result.publicKeyPins = options.publicKeyPins;
  result.maximumBodySize = options.maximumBodySize;
  return result;
}

}  // namespace

HttpEnvironment::HttpEnvironment(HttpOptions options, std::weak_ptr<HttpObserver> observer)
    : options_(std::move(options)),
      observer_(std::move(observer)),
      requestOptions_(requestOptionsFor(options_)),
      worker_(HttpWorker::start("KSHttp")) {}

void HttpEnvironment::close() {
  isClosed_ = true;
  worker_->stop(
      [self = shared_from_this()] {
        for (auto& client : std::exchange(self->clients_, {})) client.second.reset();
      },
      kClosingTimeout);
}

Date HttpEnvironment::now() const {
  return options_.clock != nullptr ? options_.clock->now() : std::chrono::system_clock::now();
}

std::uint64_t HttpEnvironment::addClient(int maximumConnectionsPerHost) {
  const std::uint64_t number = ++lastClient_;
  worker_->post([self = shared_from_this(), number, maximumConnectionsPerHost] {
    self->clients_[number] = std::make_unique<HttpClient>(*self->worker_, self->requestOptions_,
                                                          maximumConnectionsPerHost);
  });
  return number;
}

void HttpEnvironment::removeClient(std::uint64_t number, std::shared_ptr<void> owned) {
  worker_->post([self = shared_from_this(), number, owned = std::move(owned)] {
    // Out of the map first: ending a client lets others' callbacks run.
    const auto client = self->clients_.extract(number);
  });
}

bool HttpEnvironment::withClient(std::uint64_t number, std::function<void(HttpClient&)> work) {
  return worker_->post([self = shared_from_this(), number, work = std::move(work)] {
    const auto found = self->clients_.find(number);
    if (found != self->clients_.end()) work(*found->second);
  });
}

void HttpEnvironment::checkPrivacy(const NSURLRequest& request) {
  if (!HttpRules::isPlain(request.url)) return;
  const std::string host = HttpRules::hostName(request.url);
  if (HttpRules::isLoopback(host)) {
    hasLocalPortal_ = true;
    return;
  }
  if (!options_.warn || hasWarned_.exchange(true)) return;
  options_.warn("requests to " + host +
                " go over plain HTTP: others on the network can read the credentials");
}

std::uint64_t HttpEnvironment::beginTransfer() {
  static std::atomic<std::uint64_t> counter = 0;
  const std::uint64_t id = ++counter;
  if (isClosed_) return id;
  if (const auto observer = observer_.lock()) observer->transferDidStart(id);
  return id;
}

void HttpEnvironment::announceReport(std::uint64_t id) {
  if (isClosed_) return;
  if (const auto observer = observer_.lock()) observer->transferWillReport(id);
}

void HttpEnvironment::endTransfer(const HttpExchange& exchange) {
  if (isClosed_) return;
  if (const auto observer = observer_.lock()) observer->transferDidEnd(exchange);
}

HttpExchange exchangeOf(std::uint64_t id, HttpExchange::Kind kind, const NSURLRequest& request,
                        const HttpOutcome& outcome) {
  HttpExchange exchange;
  exchange.id = id;
  exchange.kind = kind;
  exchange.method = request.httpMethod;
  exchange.url = request.url;
  exchange.body = request.httpBody;
  if (outcome.response) exchange.status = outcome.response->statusCode;
  exchange.error = outcome.error;
  exchange.bytesReceived = outcome.bytesReceived;
  exchange.bytesSent = outcome.bytesSent;
  exchange.fromCache = outcome.fromCache;
  return exchange;
}

}  // namespace ks
