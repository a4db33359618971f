#include "BeaconSDK/Platform/Http/HttpClient.h"

#include <algorithm>
#include <utility>

#include "BeaconSDK/Platform/Http/HttpRules.h"

namespace ks {

HttpClient::HttpClient(HttpWorker& worker, const CurlRequestOptions& options,
                       int maximumConnectionsPerHost)
    : worker_(worker),
      options_(options),
      maximumPerHost_(static_cast<std::size_t>(std::clamp(maximumConnectionsPerHost, 1, 64))) {}

HttpClient::~HttpClient() { cancelAll(); }

void HttpClient::add(HttpJob job, HttpTransfer::Completion completion, bool cancelled) {
  const std::uint64_t id = job.id;
  const std::string key = HttpRules::hostKey(job.request.url);
  auto transfer = std::make_shared<HttpTransfer>(
      worker_, options_, std::move(job),
      [this, key, id, completion = std::move(completion)](HttpOutcome outcome) {
        completion(std::move(outcome));
        didEnd(key, id);
      });
  transfers_[id] = transfer;
  if (cancelled || cancelled_) return transfer->cancel();
  transfer->await();
  hosts_[key].waiting.push_back(std::move(transfer));
  startNext(key);
}

void HttpClient::cancel(std::uint64_t id) {
  const auto found = transfers_.find(id);
  if (found == transfers_.end()) return;
  const auto transfer = found->second;
  transfer->cancel();
}

void HttpClient::cancelAll() {
  cancelled_ = true;
  while (!transfers_.empty()) cancel(transfers_.begin()->first);
  hosts_.clear();
}

void HttpClient::startNext(const std::string& key) {
  Host& host = hosts_[key];
  // A transfer that fails as it starts comes back here; the outer call goes on.
  if (host.isStarting) return;
  host.isStarting = true;
  while (host.active.size() < maximumPerHost_ && !host.waiting.empty()) {
    const auto transfer = std::move(host.waiting.front());
    host.waiting.pop_front();
    const std::uint64_t id = transfer->job().id;
    if (!transfers_.contains(id)) continue;
    host.active.insert(id);
    transfer->start();
  }
  host.isStarting = false;
  if (host.active.empty() && host.waiting.empty()) hosts_.erase(key);
}

void HttpClient::didEnd(const std::string& key, std::uint64_t id) {
  transfers_.erase(id);
  const auto host = hosts_.find(key);
  if (host == hosts_.end()) return;
  host->second.active.erase(id);
  if (!cancelled_) startNext(key);
}

}  // namespace ks
