#include "tools/ksbeacon/portal/PortalServer.h"

#include <libsoup/soup.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <future>
#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "BeaconSDK/Platform/Linux/Loop/GLibOwned.h"
#include "tools/ksbeacon/portal/PortalCertificate.h"
#include "tools/ksbeacon/portal/PortalConnection.h"
#include "tools/ksbeacon/portal/PortalFaults.h"
#include "tools/ksbeacon/portal/PortalListener.h"
#include "tools/ksbeacon/portal/PortalOrigin.h"
#include "tools/ksbeacon/portal/PortalSite.h"
#include "tools/ksbeacon/portal/PortalWorker.h"

namespace ks::portal {

namespace {

/// Statistics bodies are a few hundred bytes; tags may make them longer.
constexpr goffset kMaximumRequestBody = 65536;
/// Pieces of a body that drips.
constexpr std::size_t kDripPieces = 16;
/// How long a stopping server waits for replies under way.
constexpr Seconds kStoppingTimeout{2};
constexpr const char* kTooLong = "ks-too-long";

/// GObject makes classes under one lock. When a class of libsoup registers a type of GIO in there
/// while another thread, as one that connects to a message bus, registers it too, each waits for
/// the other for good. What is registered before is only looked up.
void registerTypes() {
  for (const GType type :
       {G_TYPE_INET_SOCKET_ADDRESS, G_TYPE_IO_STREAM, G_TYPE_PROXY_RESOLVER, G_TYPE_SOCKET,
        G_TYPE_SOCKET_ADDRESS, G_TYPE_SOCKET_CONNECTABLE, G_TYPE_TLS_CERTIFICATE,
        G_TYPE_TLS_CERTIFICATE_FLAGS, G_TYPE_TLS_DATABASE, G_TYPE_TLS_INTERACTION, G_TYPE_URI}) {
    g_type_ensure(type);
  }
}

Error failure(std::string message) { return {"Portal", 1, std::move(message)}; }

std::string normalized(std::string prefix) {
  while (prefix.ends_with('/')) prefix.pop_back();
  if (!prefix.empty() && !prefix.starts_with('/')) prefix.insert(0, "/");
  return prefix;
}

std::string field(SoupServerMessage* message, const char* name) {
  const char* value =
      soup_message_headers_get_one(soup_server_message_get_request_headers(message), name);
  return value ? value : "";
}

void send(SoupServerMessage* message, const SiteReply& reply) {
  soup_server_message_set_status(message, static_cast<guint>(reply.status), nullptr);
  const char* contentType = nullptr;
  for (const auto& [name, value] : reply.fields) {
    if (name == "Content-Type") {
      contentType = value.c_str();
    } else {
      soup_message_headers_replace(soup_server_message_get_response_headers(message), name.c_str(),
                                   value.c_str());
    }
  }
  if (contentType == nullptr) {
    // libsoup ends the connection after a reply without a length; the client must know, or it loses
    // a request that it sends at the same time.
    soup_message_headers_replace(soup_server_message_get_response_headers(message), "Connection",
                                 "close");
    return;
  }
  soup_server_message_set_response(message, contentType, SOUP_MEMORY_COPY, reply.body.data(),
                                   reply.body.size());
}

/// The reply as bytes, for connections that libsoup no longer serves.
std::string headOf(const SiteReply& reply, const std::string& framing) {
  std::string head = "HTTP/1.1 " + std::to_string(reply.status) + " " +
                     soup_status_get_phrase(static_cast<guint>(reply.status)) + "\r\n";
  for (const auto& [name, value] : reply.fields) {
    head.append(name).append(": ").append(value).append("\r\n");
  }
  return head + framing + "\r\nConnection: close\r\n\r\n";
}

std::string headOf(const SiteReply& reply) {
  return headOf(reply, "Content-Length: " + std::to_string(reply.body.size()));
}

std::string chunkedHeadOf(const SiteReply& reply) {
  return headOf(reply, "Transfer-Encoding: chunked");
}

/// Without the empty chunk that would end the body.
std::string halfAsChunk(const std::string& body) {
  const std::string half = body.substr(0, body.size() / 2);
  char size[20];
  std::snprintf(size, sizeof(size), "%zx\r\n", half.size());
  return half.empty() ? "" : size + half + "\r\n";
}

void setMaxAge(SiteReply& reply, Seconds age) {
  std::erase_if(reply.fields, [](const auto& each) { return each.first == "Cache-Control"; });
  reply.fields.emplace_back("Cache-Control",
                            "private, max-age=" + std::to_string(std::llround(age.count())));
}

std::deque<std::string> piecesOf(const std::string& body) {
  std::deque<std::string> pieces;
  const std::size_t size = std::max<std::size_t>(1, (body.size() + kDripPieces - 1) / kDripPieces);
  for (std::size_t at = 0; at < body.size(); at += size) pieces.push_back(body.substr(at, size));
  return pieces;
}

SiteReply shortReply(int status, const char* contentType, std::string body) {
  SiteReply reply;
  reply.status = status;
  reply.fields.emplace_back("Content-Type", contentType);
  reply.body = std::move(body);
  return reply;
}

}  // namespace

struct PortalServer::Impl {
  /// A request whose answer is held back, or goes out past libsoup.
  struct Held {
    GObjectOwned<SoupServerMessage> message;
    std::unique_ptr<PortalTimer> timer;
    std::function<void()> act;
  };

  Impl(PortalOptions given, std::unique_ptr<PortalSite> site)
      : options(std::move(given)), site(std::move(site)), faults(options.faults) {}

  std::optional<Error> listen();
  std::optional<Error> listenAt(GSocketAddress* address, GObjectOwned<GTlsCertificate> certificate);
  bool keepConnectionsAlive();
  void nameRoot(bool isEncrypted);
  void watchRequest(SoupServerMessage* message);
  void handle(SoupServerMessage* message, const std::string& path);
  void answer(SoupServerMessage* message, const SiteRequest& request, const Fault* fault);
  void hold(SoupServerMessage* message, Seconds delay, std::function<void()> act);
  void release(SoupServerMessage* message);
  void replyPastLibrary(SoupServerMessage* message, std::deque<std::string> pieces, Seconds delay);
  void end();

  const PortalOptions options;
  const std::unique_ptr<PortalSite> site;
  PortalFaults faults;
  std::uint16_t port = 0;
  std::string url;

  /// Of the worker's thread only.
  GObjectOwned<SoupServer> server;
  std::optional<PortalListener> listener;
  /// The other end of the socket that libsoup listens on.
  GObjectOwned<GSocket> silence;
  std::set<SoupServerMessage*> answering;
  std::map<SoupServerMessage*, Held> held;
  std::set<std::shared_ptr<PortalConnection>> connections;
  /// Last, so that nothing it uses goes before it.
  PortalWorker worker{"KSPortal"};
};

std::optional<Error> PortalServer::Impl::listen() {
  registerTypes();
  GObjectOwned<GTlsCertificate> certificate;
  if (!options.tlsCertificate.empty() || !options.tlsKey.empty()) {
    auto read = readServerCertificate(options.tlsCertificate, options.tlsKey);
    if (!read) return read.error();
    certificate = std::move(read.value());
  }
  const GObjectOwned<GSocketAddress> address(
      g_inet_socket_address_new_from_string(options.address.c_str(), options.port));
  if (!address) return failure(options.address + ": not an IP address");
  server.reset(soup_server_new(nullptr, nullptr));
  g_signal_connect(server.get(), "request-started",
                   G_CALLBACK(+[](SoupServer*, SoupServerMessage* message, gpointer self) {
                     static_cast<Impl*>(self)->watchRequest(message);
                   }),
                   this);
  soup_server_add_handler(
      server.get(), nullptr,
      [](SoupServer*, SoupServerMessage* message, const char* path, GHashTable*, gpointer self) {
        static_cast<Impl*>(self)->handle(message, path);
      },
      this, nullptr);
  if (!keepConnectionsAlive()) return failure("no sockets are left");
  const bool isEncrypted = certificate != nullptr;
  if (auto error = listenAt(address.get(), std::move(certificate))) return error;
  nameRoot(isEncrypted);
  return std::nullopt;
}

std::optional<Error> PortalServer::Impl::listenAt(GSocketAddress* address,
                                                  GObjectOwned<GTlsCertificate> certificate) {
  const std::shared_ptr<GTlsCertificate> shared(std::move(certificate));
  const auto accepted = [this, shared](GIOStream* stream, GSocketAddress* local,
                                       GSocketAddress* remote) {
    GObjectOwned<GIOStream> served = shareObject(stream);
    if (shared) served.reset(g_tls_server_connection_new(stream, shared.get(), nullptr));
    if (!served) return;
    soup_server_accept_iostream(server.get(), served.get(), local, remote, nullptr);
  };
  listener.emplace(PortalListener::Limits{options.maximumConnections, options.requestTime},
                   accepted, [this](const std::string& message) {
                     if (options.onMessage) options.onMessage(message);
                   });
  const auto listening = listener->listen(address);
  if (!listening) {
    return Error("Portal", kPortalCannotListen,
                 options.address + ":" + std::to_string(options.port) + ": " +
                     listening.error().localizedDescription());
  }
  port = *listening;
  return std::nullopt;
}

/// libsoup closes each connection after its reply unless it listens itself: here, where nobody
/// speaks.
bool PortalServer::Impl::keepConnectionsAlive() {
  std::array<int, 2> ends{};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) return false;
  const GObjectOwned<GSocket> heard(g_socket_new_from_fd(ends[0], nullptr));
  silence.reset(g_socket_new_from_fd(ends[1], nullptr));
  return heard && silence &&
         soup_server_listen_socket(server.get(), heard.get(), SoupServerListenOptions{}, nullptr);
}

void PortalServer::Impl::nameRoot(bool isEncrypted) {
  std::string host = options.address.find(':') == std::string::npos ? options.address
                                                                    : "[" + options.address + "]";
  if (host == "0.0.0.0") host = "127.0.0.1";
  if (host == "[::]") host = "[::1]";
  url = (isEncrypted ? "https://" : "http://") + host + ":" + std::to_string(port) +
        normalized(options.prefix);
}

/// Tells the listener how far a request is, and cuts its body off while it arrives, whatever length
/// it announced.
void PortalServer::Impl::watchRequest(SoupServerMessage* message) {
  g_signal_connect(message, "got-chunk",
                   G_CALLBACK(+[](SoupServerMessage* message, GBytes*, gpointer) {
                     auto* body = soup_server_message_get_request_body(message);
                     if (body->length <= kMaximumRequestBody) return;
                     soup_message_body_set_accumulate(body, FALSE);
                     soup_message_body_truncate(body);
                     g_object_set_data(G_OBJECT(message), kTooLong, message);
                   }),
                   nullptr);
  g_signal_connect(message, "got-body", G_CALLBACK(+[](SoupServerMessage* message, gpointer self) {
                     auto* remote = soup_server_message_get_remote_address(message);
                     static_cast<Impl*>(self)->listener->requestArrived(remote);
                   }),
                   this);
  g_signal_connect(message, "finished", G_CALLBACK(+[](SoupServerMessage* message, gpointer self) {
                     auto* remote = soup_server_message_get_remote_address(message);
                     auto& listener = static_cast<Impl*>(self)->listener;
                     if (listener) listener->replied(remote);
                   }),
                   this);
}

void PortalServer::Impl::handle(SoupServerMessage* message, const std::string& path) {
  answering.insert(message);
  g_signal_connect(message, "finished", G_CALLBACK(+[](SoupServerMessage* message, gpointer self) {
                     static_cast<Impl*>(self)->answering.erase(message);
                     static_cast<Impl*>(self)->held.erase(message);
                   }),
                   this);
  if (g_object_get_data(G_OBJECT(message), kTooLong) != nullptr) {
    return send(message, shortReply(413, "text/plain", "the body is too long"));
  }
  const std::string host = field(message, "Host");
  if (!isOwnHost(host, options.hostNames) || !isOwnOrigin(field(message, "Origin"), host)) {
    return send(message, shortReply(403, "text/plain", "not for pages and hosts unknown here"));
  }
  const std::string prefix = normalized(options.prefix);
  if (!path.starts_with(prefix + "/")) {
    return send(message, shortReply(404, "text/plain", "everything is under " + prefix + "/"));
  }
  SiteRequest request;
  request.method = soup_server_message_get_method(message);
  request.path = path.substr(prefix.size());
  const char* query = g_uri_get_query(soup_server_message_get_uri(message));
  request.query = query ? query : "";
  request.authorization = field(message, "Authorization");
  request.ifNoneMatch = field(message, "If-None-Match");
  const auto* body = soup_server_message_get_request_body(message);
  GBytes* bytes = soup_message_body_flatten(const_cast<SoupMessageBody*>(body));
  gsize size = 0;
  const auto* data = static_cast<const char*>(g_bytes_get_data(bytes, &size));
  if (size > 0) request.body.assign(data, size);
  g_bytes_unref(bytes);

  const auto fault = faults.take(request.path);
  answer(message, request, fault ? &*fault : nullptr);
}

void PortalServer::Impl::answer(SoupServerMessage* message, const SiteRequest& request,
                                const Fault* fault) {
  SiteReply reply;
  const auto is = [&](FaultKind kind) { return fault != nullptr && fault->kind == kind; };
  if (is(FaultKind::droppedConnection)) {
    reply.status = 0;
  } else if (is(FaultKind::status)) {
    reply = shortReply(fault->status, "application/json", R"({"message":"a fault on request"})");
  } else {
    reply = site->answer(request);
  }
  if (is(FaultKind::notJson)) {
    reply = shortReply(200, "text/html", "<html>this is not the document</html>");
  } else if (is(FaultKind::notModified)) {
    reply = SiteReply{304, {}, ""};
  } else if (is(FaultKind::maxAge)) {
    setMaxAge(reply, fault->delay);
  }
  if (options.onRequest) {
    options.onRequest({request.method,
                       request.path + (request.query.empty() ? "" : "?" + request.query),
                       reply.status});
  }

  const bool isHead = request.method == "HEAD";
  if (is(FaultKind::latency)) {
    hold(message, fault->delay, [message, reply] { send(message, reply); });
  } else if (is(FaultKind::droppedConnection)) {
    hold(message, Seconds{0}, [this, message] { replyPastLibrary(message, {}, Seconds{0}); });
  } else if (is(FaultKind::truncatedBody) && !isHead) {
    std::deque<std::string> pieces = {headOf(reply) + reply.body.substr(0, reply.body.size() / 2)};
    hold(message, Seconds{0},
         [this, message, pieces] { replyPastLibrary(message, pieces, Seconds{0}); });
  } else if (is(FaultKind::cutChunk) && !isHead) {
    std::deque<std::string> pieces = {chunkedHeadOf(reply), halfAsChunk(reply.body)};
    hold(message, Seconds{0},
         [this, message, pieces] { replyPastLibrary(message, pieces, Seconds{0}); });
  } else if (is(FaultKind::slowDrip) && !isHead) {
    auto pieces = piecesOf(reply.body);
    pieces.push_front(headOf(reply));
    hold(message, Seconds{0}, [this, message, pieces, delay = fault->delay] {
      replyPastLibrary(message, pieces, delay);
    });
  } else {
    send(message, reply);
  }
}

void PortalServer::Impl::hold(SoupServerMessage* message, Seconds delay,
                              std::function<void()> act) {
  soup_server_message_pause(message);
  Held& entry = held[message];
  entry.message = shareObject(message);
  entry.act = std::move(act);
  entry.timer = std::make_unique<PortalTimer>([this, message] { release(message); });
  entry.timer->start(delay);
}

void PortalServer::Impl::release(SoupServerMessage* message) {
  auto node = held.extract(message);
  if (node.empty()) return;
  node.mapped().act();
  if (answering.contains(message)) soup_server_message_unpause(message);
}

void PortalServer::Impl::replyPastLibrary(SoupServerMessage* message,
                                          std::deque<std::string> pieces, Seconds delay) {
  answering.erase(message);
  g_signal_handlers_disconnect_by_data(message, this);
  GObjectOwned<GIOStream> stream(soup_server_message_steal_connection(message));
  if (!stream) return;
  const auto connection =
      std::make_shared<PortalConnection>(std::move(stream), std::move(pieces), delay);
  connections.insert(connection);
  connection->start([this, connection = connection.get()] {
    std::erase_if(connections, [&](const auto& each) { return each.get() == connection; });
  });
}

void PortalServer::Impl::end() {
  if (server) {
    // What is held back goes out now; what drips is cut off.
    while (!held.empty()) release(held.begin()->first);
    worker.runUntil([this] { return answering.empty(); }, kStoppingTimeout);
    std::vector<std::weak_ptr<PortalConnection>> cancelled;
    for (const auto& connection : std::exchange(connections, {})) {
      cancelled.push_back(connection);
      connection->cancel();
    }
    worker.runUntil(
        [&] {
          return std::all_of(cancelled.begin(), cancelled.end(),
                             [](const auto& each) { return each.expired(); });
        },
        kStoppingTimeout);
    soup_server_disconnect(server.get());
    listener.reset();
    answering.clear();
    server.reset();
  }
  site->close();
}

Result<std::shared_ptr<PortalServer>> PortalServer::start(PortalOptions options) {
  auto site = PortalSite::make(options);
  if (!site) return site.error();
  auto impl = std::make_unique<Impl>(std::move(options), std::move(site.value()));
  std::promise<std::optional<Error>> listening;
  impl->worker.post([&, impl = impl.get()] { listening.set_value(impl->listen()); });
  const auto error = listening.get_future().get();
  std::shared_ptr<PortalServer> server(new PortalServer(std::move(impl)));
  if (error) return *error;
  return server;
}

PortalServer::PortalServer(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}

PortalServer::~PortalServer() { stop(); }

std::uint16_t PortalServer::port() const { return impl_->port; }

std::string PortalServer::url() const { return impl_->url; }

Result<bool> PortalServer::setDocuments(const std::filesystem::path& folder) {
  std::promise<Result<bool>> done;
  impl_->worker.post([&, impl = impl_.get()] { done.set_value(impl->site->setDocuments(folder)); });
  return done.get_future().get();
}

void PortalServer::addFault(Fault fault) { impl_->faults.add(std::move(fault)); }

void PortalServer::clearFaults() { impl_->faults.clear(); }

std::vector<Fault> PortalServer::faults() const { return impl_->faults.all(); }

void PortalServer::stop() {
  impl_->worker.stop([impl = impl_.get()] { impl->end(); });
}

}  // namespace ks::portal
