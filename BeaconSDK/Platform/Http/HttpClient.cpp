#include "BeaconSDK/Platform/Http/HttpClient.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "BeaconSDK/Platform/Http/HttpRules.h"

namespace ks {

namespace {

/// Idle connections are closed after this; servers commonly do so after 60 s or more.
constexpr guint kIdleTimeoutSeconds = 30;
/// The cache's index is written once a session has been quiet for so long.
constexpr Seconds kCacheWritingDelay{0.5};
/// How long an ending client waits for cancelled operations to come back.
constexpr Seconds kEndingTimeout{5};

/// GObject makes classes under one lock. When a class of libsoup registers a type of GIO in there
/// while another thread, as one that connects to a message bus, registers it too, each waits for
/// the other for good. What is registered before is only looked up.
void registerTypes() {
  for (const GType type : {
           G_TYPE_INET_SOCKET_ADDRESS,
           G_TYPE_IO_STREAM,
           G_TYPE_PROXY_RESOLVER,
           G_TYPE_SOCKET,
           G_TYPE_SOCKET_ADDRESS,
           G_TYPE_SOCKET_CONNECTABLE,
           G_TYPE_TLS_CERTIFICATE,
           G_TYPE_TLS_CERTIFICATE_FLAGS,
           G_TYPE_TLS_DATABASE,
           G_TYPE_TLS_INTERACTION,
           G_TYPE_URI,
       }) {
    g_type_ensure(type);
  }
}

}  // namespace

HttpClient::HttpClient(HttpWorker& worker, HttpClientOptions options)
    : worker_(worker), options_(std::move(options)), cacheWriting_([this] {
        if (cache_) soup_cache_dump(cache_.get());
      }) {
  registerTypes();
  const guint perHost = static_cast<guint>(std::clamp(options_.maximumConnectionsPerHost, 1, 64));
  // Time-outs are the transfers' own; hosts are limited, their number is not.
  session_.reset(soup_session_new_with_options("max-conns", std::max(perHost, 64U),
                                               "max-conns-per-host", perHost, "timeout", 0U,
                                               "idle-timeout", kIdleTimeoutSeconds, nullptr));
  // Credentials are the caller's Authorization field and nothing else.
  soup_session_remove_feature_by_type(session_.get(), SOUP_TYPE_AUTH_MANAGER);
  g_signal_connect(session_.get(), "request-queued",
                   G_CALLBACK(+[](SoupSession*, SoupMessage* message, gpointer self) {
                     static_cast<HttpClient*>(self)->prepareMessage(message);
                   }),
                   this);
  loadCertificateAuthorities();
  openCache();
}

HttpClient::~HttpClient() {
  cancelAll();
  soup_session_abort(session_.get());
  worker_.runUntil([this] { return alive_.use_count() == 1; }, kEndingTimeout);
  if (cache_) {
    soup_cache_flush(cache_.get());
    soup_cache_dump(cache_.get());
    soup_session_remove_feature(session_.get(), SOUP_SESSION_FEATURE(cache_.get()));
  }
  g_signal_handlers_disconnect_by_data(session_.get(), this);
}

void HttpClient::add(HttpJob job, HttpTransfer::Completion completion, bool cancelled) {
  const std::uint64_t id = job.id;
  const std::string key = HttpRules::hostKey(job.request.url);
  auto transfer = std::make_shared<HttpTransfer>(
      session_.get(), std::move(job),
      [this, key, id, completion = std::move(completion)](HttpOutcome outcome) {
        completion(std::move(outcome));
        didEnd(key, id);
      },
      alive_);
  transfers_[id] = transfer;
  if (cancelled || cancelled_) return transfer->cancel();
  cacheWriting_.stop();
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
  const auto limit = static_cast<std::size_t>(std::max(options_.maximumConnectionsPerHost, 1));
  while (host.active.size() < limit && !host.waiting.empty()) {
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
  if (const auto host = hosts_.find(key); host != hosts_.end()) {
    host->second.active.erase(id);
    if (!cancelled_) startNext(key);
  }
  if (transfers_.empty()) cacheWriting_.start(kCacheWritingDelay);
}

void HttpClient::openCache() {
  const auto& cache = options_.cache;
  if (cache.directory.empty() || cache.diskCapacity == 0) return;
  cacheFolder_ = HttpCacheFolder::acquire(cache.directory, options_.identifier);
  if (!cacheFolder_) return;
  cache_.reset(soup_cache_new(cacheFolder_->path().c_str(), SOUP_CACHE_SINGLE_USER));
  soup_cache_set_max_size(
      cache_.get(), static_cast<guint>(std::min<std::uint64_t>(cache.diskCapacity,
                                                               std::numeric_limits<guint>::max())));
  soup_session_add_feature(session_.get(), SOUP_SESSION_FEATURE(cache_.get()));
  soup_cache_load(cache_.get());
}

void HttpClient::loadCertificateAuthorities() {
  const auto& file = options_.additionalCertificateAuthorities;
  if (file.empty()) return;
  // An unreadable file adds no trust; connections that need it then fail.
  authorities_.reset(g_tls_file_database_new(file.c_str(), nullptr));
}

void HttpClient::prepareMessage(SoupMessage* message) {
  // Redirects are followed by the transfer, which knows what may travel along. This handler also
  // sees the requests that the cache makes on its own.
  soup_message_add_flags(message, SOUP_MESSAGE_NO_REDIRECT);
  if (!authorities_) return;
  g_signal_connect_object(
      message, "accept-certificate",
      G_CALLBACK(+[](SoupMessage* message, GTlsCertificate* certificate, GTlsCertificateFlags,
                     GTlsDatabase* authorities) -> gboolean {
        const char* host = g_uri_get_host(soup_message_get_uri(message));
        const GObjectOwned<GSocketConnectable> identity(g_network_address_new(host, 0));
        return g_tls_database_verify_chain(authorities, certificate,
                                           G_TLS_DATABASE_PURPOSE_AUTHENTICATE_SERVER,
                                           identity.get(), nullptr, G_TLS_DATABASE_VERIFY_NONE,
                                           nullptr, nullptr) == G_TLS_CERTIFICATE_NO_FLAGS;
      }),
      authorities_.get(), G_CONNECT_DEFAULT);
}

}  // namespace ks
