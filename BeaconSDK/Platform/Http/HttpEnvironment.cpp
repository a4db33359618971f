#include "BeaconSDK/Platform/Http/HttpEnvironment.h"

#include <utility>

namespace ks {

void HttpEnvironment::close() {
  isClosed_ = true;
  worker_.stop([this] {
    for (auto& client : std::exchange(clients_, {})) client.second.reset();
  });
}

std::uint64_t HttpEnvironment::addClient(HttpClientOptions options) {
  const std::uint64_t number = ++lastClient_;
  worker_.post([this, number, options = std::move(options)] {
    clients_[number] = std::make_unique<HttpClient>(worker_, options);
  });
  return number;
}

void HttpEnvironment::removeClient(std::uint64_t number, std::shared_ptr<void> owned) {
  worker_.post([this, number, owned = std::move(owned)] {
    // Out of the map first: ending a client lets others' callbacks run.
    const auto client = clients_.extract(number);
  });
}

bool HttpEnvironment::withClient(std::uint64_t number, std::function<void(HttpClient&)> work) {
  return worker_.post([this, number, work = std::move(work)] {
    if (const auto found = clients_.find(number); found != clients_.end()) work(*found->second);
  });
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
