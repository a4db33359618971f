#include "BeaconSDK/Classes/Network/PortalSession.h"

#include <system_error>
#include <utility>

#include "BeaconSDK/Classes/Common/Foundation/NSError+Helpers.h"
#include "BeaconSDK/Classes/Common/Foundation/NSFileManager+Helpers.h"
#include "BeaconSDK/Classes/Common/Foundation/NSLog.h"
#include "BeaconSDK/Classes/Network/NSURLRequest+KS.h"
#include "BeaconSDK/Platform/Api/Platform.h"

namespace ks {

namespace {

/// Counts the uploads of the process, so that those of one second have files of their own.
std::atomic<std::int32_t> nextUpload{1};

std::filesystem::path nextUploadFile(Date now) {
  const double seconds = secondsSince1970(now);
  return NSFileManagerHelpers::tempFilePath(
      stringWithFormat("%d-%d.dat", static_cast<std::int64_t>(seconds), nextUpload.fetch_add(1)));
}

}  // namespace

PortalSession::PortalSession(Key, const Clock& clock, DispatchQueue& mainQueue,
                             std::shared_ptr<PortalReplies> replies)
    : clock_(clock), mainQueue_(mainQueue), replies_(std::move(replies)) {}

std::shared_ptr<PortalSession> PortalSession::open(Platform& platform,
                                                   NSURLSessionConfiguration configuration,
                                                   std::shared_ptr<PortalReplies> replies) {
  auto session = std::make_shared<PortalSession>(Key{}, platform.clock(), platform.mainQueue(),
                                                 std::move(replies));
  session->urlSession_ = platform.urlLoadingSystem().makeSession(std::move(configuration), session);
  return session;
}

PortalSession::~PortalSession() {
  std::error_code ignored;
  for (const auto& [file, completion] : uploads_) std::filesystem::remove(file, ignored);
}

void PortalSession::download(NSURLRequest request) {
  if (isReset_) return;
  if (!sendsIdentifiers_) request.headers.remove(NSURLRequestKS::kIdentifierField);
  urlSession_->downloadTaskWithRequest(std::move(request))->resume();
}

void PortalSession::upload(NSURLRequest request, UploadCompletion completion) {
  if (isReset_) return;
  if (!sendsIdentifiers_) request.headers.remove(NSURLRequestKS::kIdentifierField);
  const auto file = nextUploadFile(clock_.now());
  if (!writeFileAtomically(file, request.httpBody)) {
    NSLog("%@", NSErrorHelpers::errorWithDescription("Cannot write " + file.string()));
    if (completion) completion(std::nullopt);
    return;
  }
  {
    const std::lock_guard lock(uploadsMutex_);
    uploads_.emplace(file, std::move(completion));
  }
  const auto task = urlSession_->uploadTaskWithRequest(std::move(request), file);
  task->setTaskDescription(file.string());
  task->resume();
}

void PortalSession::reset() {
  isReset_ = true;
  urlSession_->invalidateAndCancel();
}

std::function<void()> PortalSession::backgroundSessionCompletionHandler() const {
  const std::lock_guard lock(handlerMutex_);
  return backgroundSessionCompletionHandler_;
}

void PortalSession::setBackgroundSessionCompletionHandler(std::function<void()> handler) {
  const std::lock_guard lock(handlerMutex_);
  backgroundSessionCompletionHandler_ = std::move(handler);
}

void PortalSession::didFinishDownloadingToURL(NSURLSession&, NSURLSessionTask& downloadTask,
                                              const std::filesystem::path& file) {
  const auto response = downloadTask.response();
  documentIsParsed_ =
      response && replies_->read(downloadTask.originalRequest(), response->statusCode, file);
}

bool PortalSession::willCacheResponse(NSURLSession&, NSURLSessionTask&) {
  return documentIsParsed_;
}

void PortalSession::didCompleteWithError(NSURLSession&, NSURLSessionTask& task,
                                         const std::optional<Error>& error) {
  if (task.kind() == NSURLSessionTask::Kind::upload) {
    finishUpload(task, error);
  } else if (error) {
    replies_->notifyContentDownloadErrorForType(NSURLRequestKS::contentType(task.originalRequest()),
                                                *error);
  }
}

void PortalSession::didBecomeInvalidWithError(NSURLSession&, const std::optional<Error>&) {}

void PortalSession::didFinishEventsForBackgroundURLSession(NSURLSession&) {
  std::function<void()> handler;
  {
    const std::lock_guard lock(handlerMutex_);
    handler = std::exchange(backgroundSessionCompletionHandler_, nullptr);
  }
  // Behind the results of this session that went to the main queue before.
  if (handler) mainQueue_.async(std::move(handler));
}

void PortalSession::finishUpload(NSURLSessionTask& task, std::optional<Error> error) {
  const std::filesystem::path file = task.taskDescription();
  UploadCompletion completion;
  {
    const std::lock_guard lock(uploadsMutex_);
    if (auto entry = uploads_.extract(file)) completion = std::move(entry.mapped());
  }
  const auto response = error ? std::nullopt : task.response();
  const auto status = response ? std::optional(response->statusCode) : std::nullopt;
  std::error_code reason;
  if (!std::filesystem::remove(file, reason)) {
    if (!reason) reason = std::make_error_code(std::errc::no_such_file_or_directory);
    error = NSErrorHelpers::errorWithDescription("Cannot remove " + file.string() + ": " +
                                                 reason.message());
  }
  if (error) NSLog("%@", *error);
  if (completion) completion(status);
}

}  // namespace ks
