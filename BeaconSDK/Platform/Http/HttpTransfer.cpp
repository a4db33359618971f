#include "BeaconSDK/Platform/Http/HttpTransfer.h"

#include <utility>

#include "BeaconSDK/Platform/Http/HttpCaching.h"
#include "BeaconSDK/Platform/Http/HttpErrors.h"
#include "BeaconSDK/Platform/Http/HttpRules.h"
#include "BeaconSDK/Platform/Storage/PrivateFolder.h"

namespace ks {

namespace {

constexpr int kNotModified = 304;
constexpr const char* kFileStem = "KSDownload";

Error cannotKeep(const Error& error) {
  return urlError(NSURLError::cannotCreateFile, error.localizedDescription());
}

}  // namespace

HttpTransfer::HttpTransfer(HttpWorker& worker, const CurlRequestOptions& options, HttpJob job,
                           Completion completion)
    : worker_(worker),
      options_(options),
      job_(std::move(job)),
      completion_(std::move(completion)),
      uploadFile_(job_.uploadFile),
      silence_(worker,
               [this] { fail(urlError(NSURLError::timedOut, "nothing arrived for too long")); }),
      resource_(worker,
                [this] { fail(urlError(NSURLError::timedOut, "the transfer took too long")); }) {}

void HttpTransfer::await() { resource_.start(job_.resourceTimeout); }

void HttpTransfer::start() {
  auto request = HttpRules::outgoingRequest(job_.request, job_.additionalHeaders);
  if (!request) return fail(request.error());
  current_ = std::move(request.value());
  if (job_.stored && restoreDocument()) {
    if (job_.stored->isFresh) return deliverDocument(job_.stored->response.headers);
    HttpCaching::addValidators(current_, job_.stored->response.headers);
  }
  send();
}

void HttpTransfer::cancel() { fail(urlError(NSURLError::cancelled, "cancelled")); }

bool HttpTransfer::restoreDocument() {
  if (!job_.downloadFolder || openFile(restored_)) return false;
  if (job_.stored->copyBody(*restored_)) {
    restored_->close();
  } else {
    restored_.reset();
  }
  return restored_.has_value();
}

void HttpTransfer::send() {
  silence_.start(job_.requestTimeout);
  request_ = std::make_unique<CurlRequest>(worker_, options_, current_, uploadFile_, *this);
  if (job_.refusesLocalAddresses && HttpRules::isPlain(current_.url)) {
    request_->refuseLocalAddresses();
  }
  if (const auto error = request_->start()) fail(*error);
}

void HttpTransfer::requestDidProgress() { silence_.start(job_.requestTimeout); }

bool HttpTransfer::isBodyOfInterest() const {
  const int status = request_->statusCode();
  return !HttpRules::isRedirect(status) && (status != kNotModified || !restored_);
}

bool HttpTransfer::requestDidReceive(std::span<const char> bytes) {
  if (!isBodyOfInterest()) return true;
  verdict_ = keep(bytes);
  return !verdict_;
}

std::optional<Error> HttpTransfer::keep(std::span<const char> bytes) {
  outcome_.bytesReceived += bytes.size();
  if (outcome_.bytesReceived > job_.maximumBodySize) {
    return urlError(NSURLError::dataLengthExceedsMaximum, "the reply is too long");
  }
  if (job_.discardsBody) return std::nullopt;
  if (!job_.downloadFolder) {
    outcome_.data.insert(outcome_.data.end(), bytes.begin(), bytes.end());
    return std::nullopt;
  }
  if (auto error = openFile(outcome_.file)) return error;
  if (const auto error = outcome_.file->write(bytesOf(bytes))) return cannotKeep(*error);
  return std::nullopt;
}

std::optional<Error> HttpTransfer::openFile(std::optional<NewFile>& file) const {
  if (file) return std::nullopt;
  auto made = NewFile::create(*job_.downloadFolder, kFileStem);
  if (!made && !makePrivateFolder(*job_.downloadFolder)) {
    made = NewFile::create(*job_.downloadFolder, kFileStem);
  }
  if (!made) return cannotKeep(made.error());
  file = std::move(made.value());
  return std::nullopt;
}

void HttpTransfer::requestDidEnd(const std::optional<Error>& error) {
  if (verdict_) return fail(*verdict_);
  if (error) return fail(*error);
  didReceiveReply();
}

void HttpTransfer::didReceiveReply() {
  const int status = request_->statusCode();
  HTTPHeaders headers = request_->headers();
  outcome_.isFirstHand = redirects_ == 0;
  if (status == kNotModified && restored_) {
    return deliverDocument(HttpCaching::merged(job_.stored->response.headers, headers));
  }
  const std::string* location = headers.find("Location");
  if (HttpRules::isRedirect(status) && location != nullptr) return followRedirect(*location);
  if (job_.downloadFolder) {
    if (const auto error = openFile(outcome_.file)) return fail(*error);
    outcome_.file->close();
  }
  outcome_.response = NSHTTPURLResponse{current_.url, status, std::move(headers)};
  finish();
}

void HttpTransfer::followRedirect(const std::string& location) {
  if (++redirects_ > HttpRules::kMaximumRedirects) {
    return fail(urlError(NSURLError::badServerResponse, "too many redirects"));
  }
  auto next = HttpRules::redirect(current_, request_->statusCode(), location);
  if (!next) return fail(next.error());
  endRequest();
  current_ = std::move(next.value().request);
  // The stored document is another URL's.
  if (restored_) HttpCaching::removeValidators(current_);
  restored_.reset();
  if (!next->keepsBody) uploadFile_.reset();
  send();
}

void HttpTransfer::deliverDocument(HTTPHeaders headers) {
  outcome_.response =
      NSHTTPURLResponse{current_.url, job_.stored->response.statusCode, std::move(headers)};
  outcome_.file = std::move(restored_);
  restored_.reset();
  outcome_.bytesReceived = job_.stored->bodySize();
  outcome_.fromCache = true;
  finish();
}

void HttpTransfer::endRequest() {
  if (!request_) return;
  outcome_.bytesSent += request_->bytesSent();
  request_.reset();
}

void HttpTransfer::fail(Error error) {
  if (!completion_) return;
  outcome_.error = std::move(error);
  outcome_.file.reset();
  outcome_.data.clear();
  finish();
}

void HttpTransfer::finish() {
  if (!completion_) return;
  // The owner's last reference may go inside the completion.
  const auto self = shared_from_this();
  silence_.stop();
  resource_.stop();
  endRequest();
  restored_.reset();
  const auto completion = std::exchange(completion_, nullptr);
  completion(std::move(outcome_));
}

}  // namespace ks
