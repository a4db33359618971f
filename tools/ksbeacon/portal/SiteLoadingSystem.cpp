#include "tools/ksbeacon/portal/SiteLoadingSystem.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <list>
#include <utility>

namespace ks::portal {

namespace {

/// Into so many pieces a slow reply falls, as the portal's server has it.
constexpr std::size_t kDripPieces = 16;

Error transferError(NSURLError code, const char* text) {
  return {NSURLErrorDomain, static_cast<std::int64_t>(code), text};
}

std::string headerOf(const NSURLRequest& request, const NSURLSessionConfiguration& configuration,
                     const char* name) {
  const std::string* const own = request.headers.find(name);
  const std::string* const common = configuration.httpAdditionalHeaders.find(name);
  return own != nullptr ? *own : common != nullptr ? *common : "";
}

std::string contentOf(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

}  // namespace

/// The site with its faults, and the device of the moment; sessions may hold it longer than either
/// is there.
class SiteLoadingSystem::Site {
 public:
  /// A reply, or why none came.
  struct Outcome {
    std::optional<SiteReply> reply{};
    std::optional<Error> error{};
    /// How much later it is whole, and the longest silence meanwhile.
    Seconds delay{0};
    Seconds silence{0};
  };

  Site(std::unique_ptr<PortalSite> site, std::string rootURL)
      : rootURL(std::move(rootURL)), site_(std::move(site)) {}

  Outcome answer(SiteRequest request, const std::string& url) {
    if (!url.starts_with(rootURL)) {
      return failure(NSURLError::cannotConnectToHost, "not on this site");
    }
    const std::string target = url.substr(rootURL.size());
    const auto mark = target.find('?');
    request.path = target.substr(0, mark);
    if (mark != std::string::npos) request.query = target.substr(mark + 1);
    const auto fault = faults.take(request.path);
    if (!fault) return {.reply = site_->answer(request)};
    switch (fault->kind) {
      case FaultKind::droppedConnection:
        return failure(NSURLError::networkConnectionLost, "the connection was lost");
      case FaultKind::truncatedBody:
      case FaultKind::cutChunk:
        site_->answer(request);
        return failure(NSURLError::networkConnectionLost, "the reply was cut");
      case FaultKind::status:
        return {.reply = SiteReply{fault->status, {}, R"({"message":"a fault on request"})"}};
      case FaultKind::notJson:
        return {.reply = SiteReply{200, {}, "<html>this is not the document</html>"}};
      case FaultKind::notModified:
        return {.reply = SiteReply{304, {}, ""}};
      case FaultKind::latency:
        return {.reply = site_->answer(request), .delay = fault->delay, .silence = fault->delay};
      case FaultKind::slowDrip:
        return drip(site_->answer(request), fault->delay);
      default:
        return {.reply = site_->answer(request)};
    }
  }

  static Outcome failure(NSURLError code, const char* text) {
    return {.error = transferError(code, text)};
  }

  Result<bool> setDocuments(const std::filesystem::path& folder) {
    return site_->setDocuments(folder);
  }

  const std::string rootURL;
  PortalFaults faults{std::vector<Fault>{}};
  Device device;
  std::uint64_t lastTransfer = 0;

 private:
  /// In pieces, as the portal sends them.
  static Outcome drip(SiteReply reply, Seconds pause) {
    const std::size_t size =
        std::max<std::size_t>(1, (reply.body.size() + kDripPieces - 1) / kDripPieces);
    const std::size_t pieces = (reply.body.size() + size - 1) / size;
    return {
        .reply = std::move(reply), .delay = pause * static_cast<double>(pieces), .silence = pause};
  }

  std::unique_ptr<PortalSite> site_;
};

class SiteLoadingSystem::Task : public NSURLSessionTask, public std::enable_shared_from_this<Task> {
 public:
  Task(std::weak_ptr<Session> session, Kind kind, NSURLRequest request, std::filesystem::path file)
      : session_(std::move(session)),
        kind_(kind),
        request_(std::move(request)),
        file_(std::move(file)) {}

  Kind kind() const override { return kind_; }
  const NSURLRequest& originalRequest() const override { return request_; }
  std::optional<NSHTTPURLResponse> response() const override { return response_; }
  const std::string& taskDescription() const override { return description_; }
  void setTaskDescription(std::string text) override { description_ = std::move(text); }
  void resume() override;
  void cancel() override;

  SiteRequest siteRequest(const NSURLSessionConfiguration& configuration) const {
    SiteRequest asked;
    asked.method = request_.httpMethod;
    asked.authorization = headerOf(request_, configuration, "Authorization");
    asked.body = file_.empty() ? std::string(request_.httpBody.begin(), request_.httpBody.end())
                               : contentOf(file_);
    return asked;
  }
  bool isCancelled() const { return isCancelled_; }
  void setResponse(const SiteReply& reply) {
    response_ = NSHTTPURLResponse{request_.url, reply.status, {}};
    for (const auto& [name, value] : reply.fields) response_->headers.set(name, value);
  }

  /// Of the reply that is being waited for; 0: none is.
  TimerId timer = 0;

 private:
  std::weak_ptr<Session> session_;
  Kind kind_;
  NSURLRequest request_;
  std::filesystem::path file_;
  std::optional<NSHTTPURLResponse> response_;
  std::string description_;
  bool isResumed_ = false;
  bool isCancelled_ = false;
};

class SiteLoadingSystem::Session : public NSURLSession,
                                   public std::enable_shared_from_this<Session> {
 public:
  Session(std::shared_ptr<Site> site, NSURLSessionConfiguration configuration,
          std::weak_ptr<NSURLSessionDelegate> delegate)
      : site_(std::move(site)),
        queue_(site_->device.makeQueue()),
        configuration_(std::move(configuration)),
        delegate_(std::move(delegate)) {}

  const NSURLSessionConfiguration& configuration() const override { return configuration_; }
  std::shared_ptr<NSURLSessionTask> downloadTaskWithRequest(NSURLRequest request) override {
    return makeTask(NSURLSessionTask::Kind::download, std::move(request), {});
  }
  std::shared_ptr<NSURLSessionTask> uploadTaskWithRequest(NSURLRequest request,
                                                          std::filesystem::path file) override {
    return makeTask(NSURLSessionTask::Kind::upload, std::move(request), std::move(file));
  }
  void invalidateAndCancel() override {
    if (std::exchange(isInvalid_, true)) return;
    for (const auto& task : std::list(underWay_)) task->cancel();
    queue_->async([self = shared_from_this()] {
      if (const auto delegate = self->delegate_.lock()) {
        delegate->didBecomeInvalidWithError(*self, std::nullopt);
      }
      self->delegate_.reset();
    });
  }

  void start(const std::shared_ptr<Task>& task) {
    if (isInvalid_) return;
    underWay_.push_back(task);
    queue_->async([weak = weak_from_this(), task] {
      if (const auto self = weak.lock()) self->answer(task);
    });
  }

  /// A reply that is being waited for ends at once.
  void cancelWaiting(const std::shared_ptr<Task>& task) {
    if (task->timer == 0) return;
    queue_->cancel(std::exchange(task->timer, 0));
    queue_->async([weak = weak_from_this(), task] {
      if (const auto self = weak.lock()) self->end(task, {});
    });
  }

 private:
  std::shared_ptr<NSURLSessionTask> makeTask(NSURLSessionTask::Kind kind, NSURLRequest request,
                                             std::filesystem::path file) {
    return std::make_shared<Task>(weak_from_this(), kind, std::move(request), std::move(file));
  }

  void answer(const std::shared_ptr<Task>& task) {
    if (!site_->device.listener || task->isCancelled()) return end(task, {});
    auto outcome = site_->answer(task->siteRequest(configuration_),
                                 task->originalRequest().url.absoluteString);
    giveUpInTime(outcome);
    if (outcome.delay.count() <= 0) return end(task, std::move(outcome));
    const Seconds delay = outcome.delay;
    task->timer = queue_->after(
        delay, [weak = weak_from_this(), task, outcome = std::move(outcome)]() mutable {
          task->timer = 0;
          if (const auto self = weak.lock()) self->end(task, std::move(outcome));
        });
  }

  void giveUpInTime(Site::Outcome& outcome) const {
    const Seconds patience = outcome.silence > configuration_.timeoutIntervalForRequest
                                 ? configuration_.timeoutIntervalForRequest
                                 : configuration_.timeoutIntervalForResource;
    if (outcome.delay <= patience) return;
    outcome = Site::failure(NSURLError::timedOut, "the reply took too long");
    outcome.delay = patience;
  }

  void end(const std::shared_ptr<Task>& task, Site::Outcome outcome) {
    std::erase(underWay_, task);
    const auto delegate = delegate_.lock();
    if (!delegate || !site_->device.listener) return;
    if (task->isCancelled()) outcome = Site::failure(NSURLError::cancelled, "cancelled");
    const auto& [reply, error, delay, silence] = outcome;
    if (reply) task->setResponse(*reply);
    if (reply && task->kind() == NSURLSessionTask::Kind::download) {
      handOver(*delegate, *task, reply->body);
    }
    delegate->didCompleteWithError(*this, *task, error);
    report(*task, reply, error);
    if (underWay_.empty() && !configuration_.identifier.empty()) {
      delegate->didFinishEventsForBackgroundURLSession(*this);
    }
  }

  void handOver(NSURLSessionDelegate& delegate, Task& task, const std::string& body) {
    const auto file = site_->device.temporaryDirectory / "reply";
    std::ofstream(file, std::ios::binary | std::ios::trunc) << body;
    delegate.didFinishDownloadingToURL(*this, task, file);
    std::error_code ignored;
    std::filesystem::remove(file, ignored);
  }

  void report(const Task& task, const std::optional<SiteReply>& reply,
              const std::optional<Error>& error) {
    const NSURLRequest& request = task.originalRequest();
    HttpExchange exchange;
    exchange.id = ++site_->lastTransfer;
    exchange.kind = task.kind() == NSURLSessionTask::Kind::download ? HttpExchange::Kind::download
                                                                    : HttpExchange::Kind::upload;
    exchange.method = request.httpMethod;
    exchange.url = request.url;
    exchange.body = request.httpBody;
    if (reply) {
      exchange.status = reply->status;
      exchange.bytesReceived = reply->body.size();
    }
    exchange.error = error;
    // The listener may end the device, and with it the session.
    const auto listener = site_->device.listener;
    if (listener) listener(exchange);
  }

  std::shared_ptr<Site> site_;
  std::shared_ptr<DispatchQueue> queue_;
  NSURLSessionConfiguration configuration_;
  std::weak_ptr<NSURLSessionDelegate> delegate_;
  std::list<std::shared_ptr<Task>> underWay_;
  bool isInvalid_ = false;
};

void SiteLoadingSystem::Task::cancel() {
  isCancelled_ = true;
  if (const auto session = session_.lock()) session->cancelWaiting(shared_from_this());
}

void SiteLoadingSystem::Task::resume() {
  if (std::exchange(isResumed_, true)) return;
  if (const auto session = session_.lock()) session->start(shared_from_this());
}

SiteLoadingSystem::SiteLoadingSystem(std::unique_ptr<PortalSite> site, std::string rootURL)
    : site_(std::make_shared<Site>(std::move(site), std::move(rootURL))) {}

SiteLoadingSystem::~SiteLoadingSystem() = default;

const std::string& SiteLoadingSystem::rootURL() const { return site_->rootURL; }
PortalFaults& SiteLoadingSystem::faults() { return site_->faults; }
Result<bool> SiteLoadingSystem::setDocuments(const std::filesystem::path& folder) {
  return site_->setDocuments(folder);
}
void SiteLoadingSystem::attach(Device device) { site_->device = std::move(device); }
void SiteLoadingSystem::detach() { site_->device = {}; }

std::shared_ptr<NSURLSession> SiteLoadingSystem::makeSession(
    NSURLSessionConfiguration configuration, std::weak_ptr<NSURLSessionDelegate> delegate) {
  return std::make_shared<Session>(site_, std::move(configuration), std::move(delegate));
}

std::optional<Data> SiteLoadingSystem::dataWithContentsOfURL(const NSURL& /*url*/,
                                                             const DataLimits& /*limits*/) {
  return std::nullopt;
}

}  // namespace ks::portal
