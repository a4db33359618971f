#include "BeaconSDK/Platform/Http/HttpURLLoadingSystem.h"

#include <condition_variable>
#include <mutex>
#include <utility>

#include "BeaconSDK/Platform/Http/HttpEnvironment.h"
#include "BeaconSDK/Platform/Http/HttpSession.h"

namespace ks {

namespace {

/// What the calling thread of `dataWithContentsOfURL` waits for.
class Waiting {
 public:
  void set(HttpOutcome outcome) {
    std::lock_guard lock(mutex_);
    outcome_ = std::move(outcome);
    arrived_.notify_one();
  }
  HttpOutcome get() {
    std::unique_lock lock(mutex_);
    arrived_.wait(lock, [this] { return outcome_.has_value(); });
    return std::move(*outcome_);
  }

 private:
  std::mutex mutex_;
  std::condition_variable arrived_;
  std::optional<HttpOutcome> outcome_;
};

}  // namespace

struct HttpURLLoadingSystem::Impl {
  std::shared_ptr<HttpEnvironment> environment;
  QueueFactory makeDelegateQueue;
  /// Serves `dataWithContentsOfURL`.
  std::uint64_t dataClient;
};

HttpURLLoadingSystem::HttpURLLoadingSystem(HttpOptions options, QueueFactory makeDelegateQueue,
                                           std::weak_ptr<HttpObserver> observer) {
  HttpClientOptions dataOptions;
  dataOptions.maximumConnectionsPerHost = NSURLSessionConfiguration{}.httpMaximumConnectionsPerHost;
  dataOptions.additionalCertificateAuthorities = options.additionalCertificateAuthorities;
  auto environment = std::make_shared<HttpEnvironment>(std::move(options), std::move(observer));
  const std::uint64_t dataClient = environment->addClient(std::move(dataOptions));
  impl_ = std::make_unique<Impl>(
      Impl{std::move(environment), std::move(makeDelegateQueue), dataClient});
}

HttpURLLoadingSystem::~HttpURLLoadingSystem() { impl_->environment->close(); }

std::shared_ptr<NSURLSession> HttpURLLoadingSystem::makeSession(
    NSURLSessionConfiguration configuration, std::weak_ptr<NSURLSessionDelegate> delegate) {
  return std::make_shared<HttpSession>(impl_->environment, std::move(configuration),
                                       std::move(delegate), impl_->makeDelegateQueue());
}

std::optional<Data> HttpURLLoadingSystem::dataWithContentsOfURL(const NSURL& url) {
  const auto environment = impl_->environment;
  HttpJob job;
  job.id = environment->beginTransfer();
  job.request.url = url;
  job.requestTimeout = environment->options().dataTimeout;
  job.resourceTimeout = environment->options().dataTimeout;
  job.maximumBodySize = environment->options().maximumBodySize;
  const auto waiting = std::make_shared<Waiting>();
  const bool isPosted = environment->withClient(impl_->dataClient, [&](HttpClient& client) {
    client.add(job, [waiting](HttpOutcome outcome) { waiting->set(std::move(outcome)); });
  });
  if (!isPosted) return std::nullopt;
  HttpOutcome outcome = waiting->get();
  environment->endTransfer(exchangeOf(job.id, HttpExchange::Kind::data, job.request, outcome));
  const int status = outcome.response ? outcome.response->statusCode : 0;
  if (outcome.error || status < 200 || status > 299) return std::nullopt;
  return std::move(outcome.data);
}

}  // namespace ks
