#include "BeaconSDK/Platform/Recorded/EnclosedLoading.h"

#include <fstream>
#include <iterator>
#include <mutex>
#include <set>
#include <utility>

namespace ks {

namespace {

using Kind = RecordedEvent::Kind;

/// A main queue that is busy for longer has other sorrows than whether a document is cached.
constexpr Seconds kLongestHandover{1};

Dictionary responseDetails(const std::optional<NSHTTPURLResponse>& response) {
  if (!response) return {};
  Dictionary headers;
  for (const auto& [name, value] : response->headers) headers.set(name, value);
  return {{"url", response->url.absoluteString},
          {"status", response->statusCode},
          {"headers", std::move(headers)}};
}

std::optional<NSHTTPURLResponse> responseFrom(const Dictionary& details) {
  const Dictionary* const response = details["response"].dictionary();
  if (response == nullptr || response->empty()) return std::nullopt;
  NSHTTPURLResponse made;
  made.url.absoluteString = (*response)["url"].stringValue().value_or("");
  made.statusCode = static_cast<int>((*response)["status"].integerValue());
  if (const Dictionary* const headers = (*response)["headers"].dictionary()) {
    for (const auto& [name, value] : *headers) {
      made.headers.set(name, value.stringValue().value_or(""));
    }
  }
  return made;
}

Dictionary taskDetails(const NSURLSessionTask& task) {
  return {{"target", task.originalRequest().url.absoluteString},
          {"response", responseDetails(task.response())}};
}

Data contentOf(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

std::optional<Error> errorFrom(const Dictionary& details) {
  const Dictionary* const error = details["error"].dictionary();
  if (error == nullptr) return std::nullopt;
  return Error((*error)["domain"].stringValue().value_or(""), (*error)["code"].integerValue(),
               (*error)["text"].stringValue().value_or(""));
}

/// Hears the real session on its own queue and hands everything over to the main queue.
class SessionEar : public NSURLSessionDelegate {
 public:
  SessionEar(std::shared_ptr<OutsideLink> link, DispatchQueue& mainQueue, std::uint64_t session)
      : link_(std::move(link)), mainQueue_(mainQueue), session_(session) {}

  void watch(const NSURLSessionTask* task, std::uint64_t number) {
    const std::lock_guard lock(mutex_);
    numbers_[task] = number;
  }

  void didFinishDownloadingToURL(NSURLSession&, NSURLSessionTask& task,
                                 const std::filesystem::path& file) override {
    Dictionary details = taskDetails(task);
    details.set("body", contentOf(file));
    const auto mayCache = std::make_shared<bool>(true);
    auto event = eventOf(Kind::download, numberOf(task), std::move(details));
    mainQueue_.syncFor(
        [link = link_, event = std::move(event), mayCache] {
          if (link->outside == nullptr) return;
          link->mayCache = true;
          link->outside->enter(event);
          *mayCache = link->mayCache;
        },
        kLongestHandover);
    mayCache_ = *mayCache;
  }
  bool willCacheResponse(NSURLSession&, NSURLSessionTask&) override { return mayCache_; }
  void didCompleteWithError(NSURLSession&, NSURLSessionTask& task,
                            const std::optional<Error>& error) override {
    Dictionary details = taskDetails(task);
    if (error) {
      details.set("error", Dictionary{{"domain", error->domain()},
                                      {"code", error->code()},
                                      {"text", error->localizedDescription()}});
    }
    hand(eventOf(Kind::completion, numberOf(task), std::move(details)));
    const std::lock_guard lock(mutex_);
    numbers_.erase(&task);
  }
  void didBecomeInvalidWithError(NSURLSession&, const std::optional<Error>&) override {
    hand(eventOf(Kind::invalidation, session_));
  }
  void didFinishEventsForBackgroundURLSession(NSURLSession&) override {
    hand(eventOf(Kind::backgroundTransfersDone, session_));
  }

 private:
  std::uint64_t numberOf(const NSURLSessionTask& task) {
    const std::lock_guard lock(mutex_);
    return numbers_[&task];
  }
  void hand(RecordedEvent event) {
    mainQueue_.async([link = link_, event = std::move(event)] {
      if (link->outside != nullptr) link->outside->enter(event);
    });
  }

  std::shared_ptr<OutsideLink> link_;
  DispatchQueue& mainQueue_;
  std::uint64_t session_;
  std::mutex mutex_;
  std::map<const NSURLSessionTask*, std::uint64_t> numbers_;
  /// Of the delegate queue.
  bool mayCache_ = true;
};

}  // namespace

class EnclosedTask : public NSURLSessionTask, public std::enable_shared_from_this<EnclosedTask> {
 public:
  EnclosedTask(std::weak_ptr<EnclosedSession> session, Kind kind, NSURLRequest request,
               std::shared_ptr<NSURLSessionTask> inner)
      : session_(std::move(session)),
        kind_(kind),
        request_(std::move(request)),
        inner_(std::move(inner)) {}

  Kind kind() const override { return kind_; }
  const NSURLRequest& originalRequest() const override { return request_; }
  std::optional<NSHTTPURLResponse> response() const override { return response_; }
  void setResponse(std::optional<NSHTTPURLResponse> response) { response_ = std::move(response); }
  const std::string& taskDescription() const override { return description_; }
  void setTaskDescription(std::string text) override { description_ = std::move(text); }
  void resume() override;
  void cancel() override;
  std::shared_ptr<EnclosedSession> session() const { return session_.lock(); }

 private:
  std::weak_ptr<EnclosedSession> session_;
  Kind kind_;
  NSURLRequest request_;
  std::string description_;
  std::optional<NSHTTPURLResponse> response_;
  std::shared_ptr<NSURLSessionTask> inner_;
};

class EnclosedSession : public NSURLSession, public std::enable_shared_from_this<EnclosedSession> {
 public:
  EnclosedSession(EnclosedLoading& loading, NSURLSessionConfiguration configuration,
                  std::weak_ptr<NSURLSessionDelegate> delegate, std::uint64_t number)
      : loading_(loading),
        configuration_(std::move(configuration)),
        delegate_(std::move(delegate)),
        queue_(loading.loop_) {
    Platform* const device = loading.outside_.realDevice();
    if (device == nullptr) return;
    ear_ = std::make_shared<SessionEar>(loading.link_, device->mainQueue(), number);
    inner_ = device->urlLoadingSystem().makeSession(configuration_, ear_);
  }

  const NSURLSessionConfiguration& configuration() const override { return configuration_; }
  std::shared_ptr<NSURLSessionTask> downloadTaskWithRequest(NSURLRequest request) override {
    auto inner = inner_ ? inner_->downloadTaskWithRequest(request) : nullptr;
    return add(NSURLSessionTask::Kind::download, std::move(request), std::move(inner));
  }
  std::shared_ptr<NSURLSessionTask> uploadTaskWithRequest(NSURLRequest request,
                                                          std::filesystem::path file) override {
    auto inner = inner_ ? inner_->uploadTaskWithRequest(request, std::move(file)) : nullptr;
    return add(NSURLSessionTask::Kind::upload, std::move(request), std::move(inner));
  }
  void invalidateAndCancel() override {
    if (inner_) inner_->invalidateAndCancel();
  }

  /// A task that was started lives until its end, whoever else has forgotten it.
  void keep(const std::shared_ptr<EnclosedTask>& task) { running_.insert(task); }

  void deliver(const RecordedEvent& event, const std::shared_ptr<EnclosedTask>& task) {
    queue_.async([self = shared_from_this(), event, task] { self->report(event, *task); });
    if (event.kind == Kind::completion) running_.erase(task);
  }
  void deliver(const RecordedEvent& event) {
    queue_.async([self = shared_from_this(), kind = event.kind] {
      const auto delegate = self->delegate_.lock();
      if (!delegate) return;
      if (kind == Kind::invalidation) {
        delegate->didBecomeInvalidWithError(*self, std::nullopt);
      } else {
        delegate->didFinishEventsForBackgroundURLSession(*self);
      }
    });
  }

 private:
  std::shared_ptr<NSURLSessionTask> add(NSURLSessionTask::Kind kind, NSURLRequest request,
                                        std::shared_ptr<NSURLSessionTask> inner) {
    const std::uint64_t number = ++loading_.lastTask_;
    if (ear_) ear_->watch(inner.get(), number);
    auto task = std::make_shared<EnclosedTask>(weak_from_this(), kind, std::move(request),
                                               std::move(inner));
    loading_.tasks_[number] = task;
    return task;
  }

  void report(const RecordedEvent& event, EnclosedTask& task) {
    task.setResponse(responseFrom(event.details));
    const auto delegate = delegate_.lock();
    if (event.kind == Kind::download) {
      if (delegate) reportDownload(*delegate, event, task);
      return;
    }
    const auto error = errorFrom(event.details);
    if (delegate) delegate->didCompleteWithError(*this, task, error);
    HttpExchange exchange;
    exchange.kind = task.kind() == NSURLSessionTask::Kind::upload ? HttpExchange::Kind::upload
                                                                  : HttpExchange::Kind::download;
    exchange.method = task.originalRequest().httpMethod;
    exchange.url = task.originalRequest().url;
    exchange.body = task.originalRequest().httpBody;
    if (task.response()) exchange.status = task.response()->statusCode;
    exchange.error = error;
    loading_.tell(std::move(exchange));
  }

  void reportDownload(NSURLSessionDelegate& delegate, const RecordedEvent& event,
                      EnclosedTask& task) {
    const auto file = loading_.temporary_ / ("reply" + std::to_string(++loading_.lastFile_));
    const Data* const body = event.details["body"].data();
    {
      std::ofstream stream(file, std::ios::binary);
      if (body != nullptr) {
        stream.write(reinterpret_cast<const char*>(body->data()),
                     static_cast<std::streamsize>(body->size()));
      }
    }
    delegate.didFinishDownloadingToURL(*this, task, file);
    loading_.link_->mayCache = delegate.willCacheResponse(*this, task);
    std::error_code ignored;
    std::filesystem::remove(file, ignored);
  }

  EnclosedLoading& loading_;
  NSURLSessionConfiguration configuration_;
  std::weak_ptr<NSURLSessionDelegate> delegate_;
  SimulatedQueue queue_;
  std::shared_ptr<SessionEar> ear_;
  std::shared_ptr<NSURLSession> inner_;
  std::set<std::shared_ptr<EnclosedTask>> running_;
};

void EnclosedTask::resume() {
  if (const auto session = session_.lock()) session->keep(shared_from_this());
  if (inner_) inner_->resume();
}

void EnclosedTask::cancel() {
  if (const auto session = session_.lock()) session->keep(shared_from_this());
  if (inner_) inner_->cancel();
}

EnclosedLoading::EnclosedLoading(Outside& outside, std::shared_ptr<OutsideLink> link,
                                 std::shared_ptr<SimulatedLoop> loop, DispatchQueue& workQueue,
                                 std::filesystem::path temporary)
    : outside_(outside),
      link_(std::move(link)),
      loop_(std::move(loop)),
      workQueue_(workQueue),
      temporary_(std::move(temporary)) {}

EnclosedLoading::~EnclosedLoading() {
  for (const auto& [number, load] : loads_) load.completion(std::nullopt);
}

std::shared_ptr<NSURLSession> EnclosedLoading::makeSession(
    NSURLSessionConfiguration configuration, std::weak_ptr<NSURLSessionDelegate> delegate) {
  const std::uint64_t number = ++lastSession_;
  auto session = std::make_shared<EnclosedSession>(*this, std::move(configuration),
                                                   std::move(delegate), number);
  sessions_[number] = session;
  return session;
}

std::optional<Data> EnclosedLoading::dataWithContentsOfURL(const NSURL& url,
                                                           const DataLimits& limits) {
  const Value got = outside_.answer("data", [&] {
    return Value(outside_.realDevice()->urlLoadingSystem().dataWithContentsOfURL(url, limits));
  });
  HttpExchange exchange;
  exchange.kind = HttpExchange::Kind::data;
  exchange.method = "GET";
  exchange.url = url;
  if (got.data() != nullptr) {
    exchange.status = 200;
  } else {
    exchange.error = Error(NSURLErrorDomain, static_cast<std::int64_t>(NSURLError::unknown), "");
  }
  tell(std::move(exchange));
  return got.data() != nullptr ? std::optional(*got.data()) : std::nullopt;
}

void EnclosedLoading::loadData(const NSURL& url, const DataLimits& limits,
                               std::function<void(std::optional<Data>)> completion) {
  const std::uint64_t number = ++lastLoad_;
  loads_[number] = {url, std::move(completion)};
  Platform* const device = outside_.realDevice();
  if (device == nullptr) return;
  device->urlLoadingSystem().loadData(
      url, limits,
      [link = link_, &mainQueue = device->mainQueue(), number](std::optional<Data> data) {
        auto event = eventOf(Kind::loaded, number, {{"data", Value(data)}});
        mainQueue.async([link, event = std::move(event)] {
          if (link->outside != nullptr) link->outside->enter(event);
        });
      });
}

void EnclosedLoading::deliver(const RecordedEvent& event) {
  switch (event.kind) {
    case Kind::loaded:
      return deliverLoad(event);
    case Kind::download:
    case Kind::completion:
      return deliverToTask(event);
    default:
      if (const auto session = sessions_[event.subject].lock()) session->deliver(event);
  }
}

void EnclosedLoading::deliverLoad(const RecordedEvent& event) {
  auto node = loads_.extract(event.subject);
  if (node.empty()) return outside_.departed("a resource arrives that was not asked for");
  const Data* const data = event.details["data"].data();
  workQueue_.async([this, load = std::move(node.mapped()),
                    got = data != nullptr ? std::optional(*data) : std::nullopt] {
    load.completion(got);
    HttpExchange exchange;
    exchange.kind = HttpExchange::Kind::data;
    exchange.method = "GET";
    exchange.url = load.url;
    if (got) exchange.status = 200;
    if (!got) {
      exchange.error = Error(NSURLErrorDomain, static_cast<std::int64_t>(NSURLError::unknown), "");
    }
    tell(std::move(exchange));
  });
}

void EnclosedLoading::deliverToTask(const RecordedEvent& event) {
  const auto known = tasks_.find(event.subject);
  const std::string target = event.details["target"].stringValue().value_or("");
  if (known == tasks_.end())
    return outside_.departed("a reply to " + target + " was not asked for");
  // Whoever asked may have gone meanwhile.
  const auto task = known->second.lock();
  if (event.kind == Kind::completion) tasks_.erase(known);
  const auto session = task ? task->session() : nullptr;
  if (!session) return;
  const std::string& asked = task->originalRequest().url.absoluteString;
  // A private recording leaves the query out.
  if (asked != target && !asked.starts_with(target + "?")) {
    return outside_.departed("asks for " + asked + " instead of " + target);
  }
  session->deliver(event, task);
}

void EnclosedLoading::tell(HttpExchange exchange) {
  if (listener_) listener_(exchange);
}

}  // namespace ks
