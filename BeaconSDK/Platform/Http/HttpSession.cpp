#include "BeaconSDK/Platform/Http/HttpSession.h"

#include <utility>

#include "BeaconSDK/Platform/Http/HttpCaching.h"
#include "BeaconSDK/Platform/Http/HttpRules.h"

namespace ks {

HttpTask::HttpTask(std::weak_ptr<HttpSession> session, Kind kind, NSURLRequest request,
                   std::optional<std::filesystem::path> uploadFile)
    : session_(std::move(session)),
      kind_(kind),
      request_(std::move(request)),
      uploadFile_(std::move(uploadFile)) {}

std::optional<NSHTTPURLResponse> HttpTask::response() const {
  std::lock_guard lock(mutex_);
  return response_;
}

void HttpTask::setResponse(std::optional<NSHTTPURLResponse> response) {
  std::lock_guard lock(mutex_);
  response_ = std::move(response);
}

void HttpTask::resume() {
  {
    std::lock_guard lock(mutex_);
    if (isStarted_) return;
    isStarted_ = true;
  }
  start();
}

void HttpTask::cancel() {
  const auto session = session_.lock();
  std::unique_lock lock(mutex_);
  isCancelled_ = true;
  const std::uint64_t id = id_;
  const bool wasStarted = std::exchange(isStarted_, true);
  lock.unlock();
  if (!wasStarted) {
    start();
  } else if (session && id != 0) {
    session->cancel(id);
  }
}

void HttpTask::start() {
  const auto session = session_.lock();
  if (!session) return;
  std::unique_lock lock(mutex_);
  const bool wasCancelled = isCancelled_;
  lock.unlock();
  const std::uint64_t id = session->start(shared_from_this(), wasCancelled);
  lock.lock();
  id_ = id;
  // Somebody else may have cancelled while the session took the task.
  const bool isCancelledNow = isCancelled_ && !wasCancelled;
  lock.unlock();
  if (isCancelledNow && id != 0) session->cancel(id);
}

/// The end of one transfer on its way to the delegate. The observer hears of it even when the
/// session, or the queue with this report on it, is gone.
struct HttpSession::Report {
  std::shared_ptr<HttpEnvironment> environment;
  std::weak_ptr<HttpSession> session;
  std::shared_ptr<HttpTask> task;
  HttpOutcome outcome;
  HttpExchange exchange;
  bool isObserved = false;

  ~Report() { tellObserver(); }
  void tellObserver() {
    if (!std::exchange(isObserved, true)) environment->endTransfer(exchange);
  }
};

HttpSession::HttpSession(std::shared_ptr<HttpEnvironment> environment,
                         NSURLSessionConfiguration configuration,
                         std::weak_ptr<NSURLSessionDelegate> delegate,
                         std::shared_ptr<DispatchQueue> queue)
    : environment_(std::move(environment)),
      configuration_(std::move(configuration)),
      delegate_(std::move(delegate)),
      queue_(std::move(queue)),
      clientId_(environment_->addClient(configuration_.httpMaximumConnectionsPerHost)),
      store_(DocumentStore::open(configuration_.urlCache.directory, configuration_.identifier,
                                 configuration_.urlCache.diskCapacity)) {}

HttpSession::~HttpSession() {
  // This may be the queue's own thread, which must not end the queue.
  environment_->removeClient(clientId_, std::move(queue_));
}

std::shared_ptr<NSURLSessionTask> HttpSession::downloadTaskWithRequest(NSURLRequest request) {
  return std::make_shared<HttpTask>(weak_from_this(), NSURLSessionTask::Kind::download,
                                    std::move(request), std::nullopt);
}

std::shared_ptr<NSURLSessionTask> HttpSession::uploadTaskWithRequest(NSURLRequest request,
                                                                     std::filesystem::path file) {
  return std::make_shared<HttpTask>(weak_from_this(), NSURLSessionTask::Kind::upload,
                                    std::move(request), std::move(file));
}

std::uint64_t HttpSession::start(const std::shared_ptr<HttpTask>& task, bool cancelled) {
  {
    std::lock_guard lock(mutex_);
    if (isInvalid_) return 0;
    ++outstanding_;
  }
  environment_->checkPrivacy(task->originalRequest());
  const std::uint64_t id = environment_->beginTransfer();
  auto completion = [environment = environment_, session = weak_from_this(), task, id,
                     queue = queue_](HttpOutcome outcome) {
    if (environment->isClosed()) return;
    const auto kind = task->kind() == NSURLSessionTask::Kind::upload ? HttpExchange::Kind::upload
                                                                     : HttpExchange::Kind::download;
    auto report = std::make_shared<Report>();
    report->exchange = exchangeOf(id, kind, task->originalRequest(), outcome);
    report->environment = environment;
    report->session = session;
    report->task = task;
    report->outcome = std::move(outcome);
    environment->announceReport(id);
    queue->async([report = std::move(report)] {
      if (const auto strong = report->session.lock()) strong->deliver(*report);
    });
  };
  environment_->withClient(
      clientId_, [job = jobFor(*task, id), completion = std::move(completion),
                  cancelled](HttpClient& client) { client.add(job, completion, cancelled); });
  return id;
}

void HttpSession::cancel(std::uint64_t id) {
  environment_->withClient(clientId_, [id](HttpClient& client) { client.cancel(id); });
}

void HttpSession::invalidateAndCancel() {
  std::lock_guard lock(mutex_);
  if (isInvalid_) return;
  isInvalid_ = true;
  environment_->withClient(clientId_, [](HttpClient& client) { client.cancelAll(); });
  // Otherwise the last report does it.
  if (outstanding_ > 0) return;
  queue_->async([environment = environment_, session = weak_from_this()] {
    const auto strong = session.lock();
    if (!strong || environment->isClosed()) return;
    if (const auto delegate = strong->delegate_.lock()) {
      delegate->didBecomeInvalidWithError(*strong, std::nullopt);
    }
  });
}

HttpJob HttpSession::jobFor(const HttpTask& task, std::uint64_t id) const {
  HttpJob job;
  job.id = id;
  job.request = task.originalRequest();
  job.additionalHeaders = configuration_.httpAdditionalHeaders;
  job.uploadFile = task.uploadFile();
  if (task.kind() == NSURLSessionTask::Kind::download) {
    job.downloadFolder = environment_->options().temporaryDirectory;
    const auto outgoing = store_ ? outgoingRequest(task) : std::nullopt;
    if (outgoing) job.stored = store_->find(*outgoing, environment_->now());
  } else {
    job.discardsBody = true;
  }
  job.requestTimeout = configuration_.timeoutIntervalForRequest;
  job.resourceTimeout = configuration_.timeoutIntervalForResource;
  job.maximumBodySize = environment_->options().maximumBodySize;
  return job;
}

void HttpSession::deliver(Report& report) {
  if (environment_->isClosed()) return;
  const auto delegate = delegate_.lock();
  auto& outcome = report.outcome;
  report.task->setResponse(outcome.response);
  if (delegate && outcome.response && !outcome.error) deliverFile(*delegate, report);
  outcome.file.reset();
  if (delegate) delegate->didCompleteWithError(*this, *report.task, outcome.error);
  report.tellObserver();

  std::unique_lock lock(mutex_);
  const bool isIdle = --outstanding_ == 0;
  const bool becomesInvalid = isIdle && isInvalid_;
  lock.unlock();
  if (!delegate) return;
  if (isIdle && !configuration_.identifier.empty()) {
    delegate->didFinishEventsForBackgroundURLSession(*this);
  }
  if (becomesInvalid) delegate->didBecomeInvalidWithError(*this, std::nullopt);
}

void HttpSession::deliverFile(NSURLSessionDelegate& delegate, Report& report) {
  bool isUsable = true;
  if (report.outcome.file) {
    delegate.didFinishDownloadingToURL(*this, *report.task, report.outcome.file->path());
    isUsable = delegate.willCacheResponse(*this, *report.task);
  }
  if (store_) updateStore(*report.task, report.outcome, *report.outcome.response, isUsable);
}

void HttpSession::updateStore(const HttpTask& task, const HttpOutcome& outcome,
                              const NSHTTPURLResponse& response, bool isUsable) {
  const auto request = outgoingRequest(task);
  if (!request) return;
  const bool isDocument = outcome.file && response.statusCode == 200;
  if (isDocument && isUsable && outcome.isFirstHand) {
    store_->put(*request, response, outcome.file->path(), environment_->now());
  } else if ((isDocument && !isUsable) || HttpCaching::invalidates(*request, response)) {
    store_->remove(*request);
  }
}

std::optional<NSURLRequest> HttpSession::outgoingRequest(const HttpTask& task) const {
  auto request =
      HttpRules::outgoingRequest(task.originalRequest(), configuration_.httpAdditionalHeaders);
  if (!request) return std::nullopt;
  return std::move(request.value());
}

}  // namespace ks
