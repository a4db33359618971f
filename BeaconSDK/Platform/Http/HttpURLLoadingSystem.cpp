#include "BeaconSDK/Platform/Http/HttpURLLoadingSystem.h"

#include <algorithm>
#include <future>
#include <utility>

#include "BeaconSDK/Platform/Http/HttpEnvironment.h"
#include "BeaconSDK/Platform/Http/HttpSession.h"

namespace ks {

namespace {

std::optional<Data> dataOf(HttpOutcome outcome) {
  const int status = outcome.response ? outcome.response->statusCode : 0;
  if (outcome.error || status < 200 || status > 299) return std::nullopt;
  return std::move(outcome.data);
}

/// A transfer without a session.
struct DataTransfer {
  std::shared_ptr<HttpEnvironment> environment;
  HttpJob job;

  std::optional<Data> end(HttpOutcome outcome) const {
    environment->endTransfer(exchangeOf(job.id, HttpExchange::Kind::data, job.request, outcome));
    return dataOf(std::move(outcome));
  }
};

}  // namespace

struct HttpURLLoadingSystem::Impl {
  std::shared_ptr<HttpEnvironment> environment;
  QueueFactory makeDelegateQueue;
  /// Serves `dataWithContentsOfURL` and `loadData`.
  std::uint64_t dataClient;

  /// False when nothing was started: the worker is gone.
  bool startData(const NSURL& url, const DataLimits& limits,
                 std::function<void(const DataTransfer&, HttpOutcome)> end) const;
};

bool HttpURLLoadingSystem::Impl::startData(
    const NSURL& url, const DataLimits& limits,
    std::function<void(const DataTransfer&, HttpOutcome)> end) const {
  HttpJob job;
  job.id = environment->beginTransfer();
  job.request.url = url;
  job.requestTimeout = std::min(limits.time, environment->options().dataTimeout);
  job.resourceTimeout = job.requestTimeout;
  job.maximumBodySize = std::min(limits.size, environment->options().maximumBodySize);
  job.refusesLocalAddresses = !environment->allowsLocalData();
  const DataTransfer transfer{environment, std::move(job)};
  return environment->withClient(dataClient, [transfer, end = std::move(end)](HttpClient& client) {
    client.add(transfer.job,
               [transfer, end](HttpOutcome outcome) { end(transfer, std::move(outcome)); });
  });
}

HttpURLLoadingSystem::HttpURLLoadingSystem(HttpOptions options, QueueFactory makeDelegateQueue,
                                           std::weak_ptr<HttpObserver> observer) {
  auto environment = std::make_shared<HttpEnvironment>(std::move(options), std::move(observer));
  const std::uint64_t dataClient =
      environment->addClient(NSURLSessionConfiguration{}.httpMaximumConnectionsPerHost);
  impl_ = std::make_unique<Impl>(
      Impl{std::move(environment), std::move(makeDelegateQueue), dataClient});
}

HttpURLLoadingSystem::~HttpURLLoadingSystem() { impl_->environment->close(); }

std::shared_ptr<NSURLSession> HttpURLLoadingSystem::makeSession(
    NSURLSessionConfiguration configuration, std::weak_ptr<NSURLSessionDelegate> delegate) {
  return std::make_shared<HttpSession>(impl_->environment, std::move(configuration),
                                       std::move(delegate), impl_->makeDelegateQueue());
}

std::optional<Data> HttpURLLoadingSystem::dataWithContentsOfURL(const NSURL& url,
                                                                const DataLimits& limits) {
  using Ended = std::pair<DataTransfer, HttpOutcome>;
  const auto ended = std::make_shared<std::promise<Ended>>();
  auto future = ended->get_future();
  const bool isStarted =
      impl_->startData(url, limits, [ended](auto& transfer, HttpOutcome outcome) {
        ended->set_value({transfer, std::move(outcome)});
      });
  if (!isStarted) return std::nullopt;
  Ended result = future.get();
  return result.first.end(std::move(result.second));
}

void HttpURLLoadingSystem::loadData(const NSURL& url, const DataLimits& limits,
                                    std::function<void(std::optional<Data>)> completion) {
  const bool isStarted =
      impl_->startData(url, limits, [completion](auto& transfer, HttpOutcome outcome) {
        completion(transfer.end(std::move(outcome)));
      });
  if (!isStarted) completion(std::nullopt);
}

}  // namespace ks
