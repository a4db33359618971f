#include "BeaconSDK/Platform/Http/HttpTransfer.h"

#include <cstring>
#include <utility>

#include "BeaconSDK/Platform/Http/HttpErrors.h"
#include "BeaconSDK/Platform/Http/HttpRules.h"

namespace ks {

namespace {

/// How long a finished body waits for the cache to store it.
constexpr Seconds kStoringTimeout{2};

constexpr const char* kUserAgent = "KSBeaconSDK/1.0";

HTTPHeaders responseHeaders(SoupMessage* message) {
  HTTPHeaders headers;
  SoupMessageHeadersIter iterator;
  soup_message_headers_iter_init(&iterator, soup_message_get_response_headers(message));
  const char* name = nullptr;
  const char* value = nullptr;
  while (soup_message_headers_iter_next(&iterator, &name, &value)) {
    const std::string* earlier = headers.find(name);
    headers.set(name, earlier ? *earlier + ", " + value : value);
  }
  return headers;
}

/// The stream in the chain under `stream` through which libsoup's cache copies the body; null when
/// the reply is not being stored.
GObject* cachingStream(GInputStream* stream) {
  while (stream != nullptr) {
    if (std::strcmp(G_OBJECT_TYPE_NAME(stream), "SoupCacheInputStream") == 0 &&
        g_signal_lookup("caching-finished", G_OBJECT_TYPE(stream)) != 0) {
      return G_OBJECT(stream);
    }
    if (!G_IS_FILTER_INPUT_STREAM(stream)) break;
    stream = g_filter_input_stream_get_base_stream(G_FILTER_INPUT_STREAM(stream));
  }
  return nullptr;
}

}  // namespace

/// What GLib calls. Asynchronous operations own a reference to their transfer; signal handlers are
/// disconnected before the transfer ends.
struct HttpTransfer::Callbacks {
  using Reference = std::unique_ptr<std::shared_ptr<HttpTransfer>>;

  static gpointer reference(HttpTransfer& transfer) {
    return std::make_unique<std::shared_ptr<HttpTransfer>>(transfer.shared_from_this()).release();
  }
  static Reference take(gpointer data) {
    return Reference(static_cast<std::shared_ptr<HttpTransfer>*>(data));
  }
  static HttpTransfer& of(gpointer data) { return *static_cast<HttpTransfer*>(data); }

  static void sent(GObject* session, GAsyncResult* result, gpointer data) {
    const auto self = take(data);
    GError* error = nullptr;
    GObjectOwned<GInputStream> stream(
        soup_session_send_finish(SOUP_SESSION(session), result, &error));
    const GLibOwned<GError> owned(error);
    HttpTransfer& transfer = **self;
    if (!transfer.completion_) return;
    if (error) {
      transfer.fail(urlErrorFrom(*error));
    } else {
      transfer.didReceiveHeaders(std::move(stream));
    }
  }

  static void read(GObject* stream, GAsyncResult* result, gpointer data) {
    const auto self = take(data);
    GError* error = nullptr;
    const gssize count = g_input_stream_read_finish(G_INPUT_STREAM(stream), result, &error);
    const GLibOwned<GError> owned(error);
    HttpTransfer& transfer = **self;
    if (!transfer.completion_) return;
    if (error) {
      transfer.fail(urlErrorFrom(*error));
    } else {
      transfer.didReadChunk(count);
    }
  }

  static void networkEvent(SoupMessage*, int, GIOStream*, gpointer data) { of(data).progress(); }
  static void wroteHeaders(SoupMessage*, gpointer data) {
    of(data).wroteRequest_ = true;
    of(data).progress();
  }
  static void wroteBodyData(SoupMessage*, guint count, gpointer data) {
    of(data).outcome_.bytesSent += count;
    of(data).progress();
  }
  static void gotHeaders(SoupMessage*, gpointer data) { of(data).progress(); }
  static void cachingFinished(gpointer data) {
    HttpTransfer& transfer = of(data);
    transfer.storing_ = false;
    // Later, not inside the cache's own handling.
    if (transfer.bodyEnded_) transfer.silence_.start(Seconds{0});
  }
};

HttpTransfer::HttpTransfer(SoupSession* session, HttpJob job, Completion completion,
                           std::shared_ptr<const int> alive)
    : session_(shareObject(session)),
      job_(std::move(job)),
      completion_(std::move(completion)),
      alive_(std::move(alive)),
      cancellable_(g_cancellable_new()),
      silence_([this] {
        if (bodyEnded_) {
          settle();
        } else {
          fail(NSURLError::timedOut, "nothing arrived for too long");
        }
      }),
      resource_([this] { fail(NSURLError::timedOut, "the transfer took too long"); }) {}

HttpTransfer::~HttpTransfer() { forgetMessage(); }

void HttpTransfer::await() { resource_.start(job_.resourceTimeout); }

void HttpTransfer::start() {
  auto request = HttpRules::outgoingRequest(job_.request, job_.additionalHeaders);
  if (!request) return fail(request.error());
  current_ = std::move(request.value());
  if (!current_.headers.find("User-Agent")) current_.headers.set("User-Agent", kUserAgent);
  send();
}

void HttpTransfer::cancel() { fail(NSURLError::cancelled, "cancelled"); }

void HttpTransfer::send() {
  forgetMessage();
  message_.reset(
      soup_message_new(current_.httpMethod.c_str(), current_.url.absoluteString.c_str()));
  if (!message_) return fail(NSURLError::badURL, "not a valid URL");
  if (sendsBody_ && !attachBody(message_.get())) return;
  auto* headers = soup_message_get_request_headers(message_.get());
  for (const auto& [name, value] : current_.headers) {
    soup_message_headers_replace(headers, name.c_str(), value.c_str());
  }
  soup_message_add_flags(message_.get(), SOUP_MESSAGE_COLLECT_METRICS);
  wroteRequest_ = false;
  auto* message = message_.get();
  g_signal_connect(message, "network-event", G_CALLBACK(Callbacks::networkEvent), this);
  g_signal_connect(message, "wrote-headers", G_CALLBACK(Callbacks::wroteHeaders), this);
  g_signal_connect(message, "wrote-body-data", G_CALLBACK(Callbacks::wroteBodyData), this);
  g_signal_connect(message, "got-headers", G_CALLBACK(Callbacks::gotHeaders), this);
  progress();
  // The asynchronous call is the only one that consults the cache.
  soup_session_send_async(session_.get(), message, G_PRIORITY_DEFAULT, cancellable_.get(),
                          Callbacks::sent, Callbacks::reference(*this));
}

bool HttpTransfer::attachBody(SoupMessage* message) {
  if (!job_.uploadFile) {
    const auto& body = current_.httpBody;
    if (body.empty()) return true;
    GBytes* bytes = g_bytes_new(body.data(), body.size());
    soup_message_set_request_body_from_bytes(message, nullptr, bytes);
    g_bytes_unref(bytes);
    return true;
  }
  GError* error = nullptr;
  const GObjectOwned<GFile> file(g_file_new_for_path(job_.uploadFile->c_str()));
  const GObjectOwned<GFileInputStream> stream(g_file_read(file.get(), nullptr, &error));
  GObjectOwned<GFileInfo> info;
  if (stream) {
    info.reset(g_file_input_stream_query_info(stream.get(), G_FILE_ATTRIBUTE_STANDARD_SIZE, nullptr,
                                              &error));
  }
  const GLibOwned<GError> owned(error);
  if (!info) {
    fail(NSURLError::unknown, "cannot read the file to upload: " + std::string(error->message));
    return false;
  }
  soup_message_set_request_body(message, nullptr, G_INPUT_STREAM(stream.get()),
                                g_file_info_get_size(info.get()));
  return true;
}

void HttpTransfer::didReceiveHeaders(GObjectOwned<GInputStream> stream) {
  progress();
  const int status = static_cast<int>(soup_message_get_status(message_.get()));
  body_ = std::move(stream);
  if (HttpRules::isRedirect(status) && followRedirect(status)) return;

  outcome_.response = NSHTTPURLResponse{current_.url, status, responseHeaders(message_.get())};
  auto* headers = soup_message_get_response_headers(message_.get());
  if (soup_message_headers_get_encoding(headers) == SOUP_ENCODING_CONTENT_LENGTH &&
      current_.httpMethod != "HEAD" &&
      static_cast<std::uint64_t>(soup_message_headers_get_content_length(headers)) >
          job_.maximumBodySize) {
    return fail(NSURLError::dataLengthExceedsMaximum, "the reply is too long");
  }
  if (job_.downloadFolder) {
    auto file = TemporaryFile::create(*job_.downloadFolder);
    if (!file) return fail(file.error());
    outcome_.file = std::move(file.value());
  }
  if (auto* caching = cachingStream(body_.get())) {
    storing_ = true;
    g_signal_connect_swapped(caching, "caching-finished", G_CALLBACK(Callbacks::cachingFinished),
                             this);
  }
  readChunk();
}

bool HttpTransfer::followRedirect(int status) {
  const char* location =
      soup_message_headers_get_one(soup_message_get_response_headers(message_.get()), "Location");
  if (location == nullptr) return false;
  if (++redirects_ > HttpRules::kMaximumRedirects) {
    fail(NSURLError::badServerResponse, "too many redirects");
    return true;
  }
  auto next = HttpRules::redirect(current_, status, location);
  if (!next) {
    fail(next.error());
    return true;
  }
  current_ = std::move(next.value().request);
  sendsBody_ = sendsBody_ && next->keepsBody;
  send();
  return true;
}

void HttpTransfer::readChunk() {
  g_input_stream_read_async(body_.get(), chunk_.data(), chunk_.size(), G_PRIORITY_DEFAULT,
                            cancellable_.get(), Callbacks::read, Callbacks::reference(*this));
}

void HttpTransfer::didReadChunk(gssize count) {
  progress();
  const auto size = static_cast<std::size_t>(count);
  outcome_.bytesReceived += size;
  if (outcome_.bytesReceived > job_.maximumBodySize) {
    return fail(NSURLError::dataLengthExceedsMaximum, "the reply is too long");
  }
  if (count == 0) {
    return settleWhenStored();
  }
  if (outcome_.file) {
    if (!outcome_.file->write(chunk_.data(), size)) {
      return fail(NSURLError::cannotCreateFile, "cannot write the downloaded file");
    }
  } else if (!job_.discardsBody) {
    outcome_.data.insert(outcome_.data.end(), chunk_.begin(), chunk_.begin() + count);
  }
  readChunk();
}

bool HttpTransfer::isCutShort() const {
  // libsoup takes the end of a connection that was to be closed for the end of the body.
  auto* headers = soup_message_get_response_headers(message_.get());
  auto* metrics = soup_message_get_metrics(message_.get());
  if (!wroteRequest_ || metrics == nullptr || current_.httpMethod == "HEAD" ||
      soup_message_headers_get_encoding(headers) != SOUP_ENCODING_CONTENT_LENGTH) {
    return false;
  }
  return soup_message_metrics_get_response_body_bytes_received(metrics) <
         static_cast<guint64>(soup_message_headers_get_content_length(headers));
}

void HttpTransfer::settleWhenStored() {
  bodyEnded_ = true;
  outcome_.fromCache = !wroteRequest_;
  if (outcome_.file) outcome_.file->close();
  if (!storing_) return settle();
  silence_.start(kStoringTimeout);
}

void HttpTransfer::settle() {
  if (!isCutShort()) return finish();
  // libsoup has stored the body as if it were whole and would serve it when the server confirms its
  // tag. It drops no single entry: all are fetched again, which costs little.
  if (auto* cache = soup_session_get_feature(session_.get(), SOUP_TYPE_CACHE)) {
    soup_cache_clear(SOUP_CACHE(cache));
  }
  fail(NSURLError::networkConnectionLost, "the reply was cut short");
}

void HttpTransfer::progress() {
  if (completion_ && !bodyEnded_) silence_.start(job_.requestTimeout);
}

void HttpTransfer::forgetMessage() {
  if (body_) {
    if (auto* caching = cachingStream(body_.get())) {
      g_signal_handlers_disconnect_by_data(caching, this);
    }
    body_.reset();
  }
  if (message_) {
    g_signal_handlers_disconnect_by_data(message_.get(), this);
    message_.reset();
  }
}

void HttpTransfer::fail(Error error) {
  if (!completion_) return;
  g_cancellable_cancel(cancellable_.get());
  outcome_.error = std::move(error);
  outcome_.file.reset();
  outcome_.data.clear();
  finish();
}

void HttpTransfer::fail(NSURLError code, std::string description) {
  fail(urlError(code, std::move(description)));
}

void HttpTransfer::finish() {
  if (!completion_) return;
  silence_.stop();
  resource_.stop();
  // The owner's last reference may go inside the completion.
  const auto self = shared_from_this();
  const auto completion = std::exchange(completion_, nullptr);
  forgetMessage();
  completion(std::move(outcome_));
}

}  // namespace ks
