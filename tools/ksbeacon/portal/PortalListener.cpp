#include "tools/ksbeacon/portal/PortalListener.h"

#include <algorithm>
#include <utility>

namespace ks::portal {

namespace {

/// While descriptors are short, this long between two attempts.
constexpr Seconds kBetweenAttempts{0.2};

}  // namespace

struct PortalListener::Connection {
  Connection(PortalListener& listener, GSocketConnection* stream, GSocketAddress* remote)
      : listener(listener),
        stream(stream),
        remote(shareObject(remote)),
        socket(shareObject(g_socket_connection_get_socket(stream))),
        limit([this] { close(); }) {
    g_object_weak_ref(G_OBJECT(stream), &Connection::streamIsGone, this);
    await();
  }
  ~Connection() {
    if (stream != nullptr) g_object_weak_unref(G_OBJECT(stream), &Connection::streamIsGone, this);
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  void await() {
    waitsSince = ++listener.lastNumber_;
    limit.start(listener.limits_.request);
  }
  void work() {
    waitsSince = 0;
    limit.stop();
  }
  /// Whoever reads from it finds its end, and lets it go.
  void close() {
    work();
    g_socket_shutdown(socket.get(), TRUE, TRUE, nullptr);
  }
  static void streamIsGone(gpointer self, GObject*) {
    auto* const connection = static_cast<Connection*>(self);
    connection->stream = nullptr;
    connection->listener.forget(connection->remote.get());
  }

  PortalListener& listener;
  /// Not owned.
  GSocketConnection* stream;
  const GObjectOwned<GSocketAddress> remote;
  const GObjectOwned<GSocket> socket;
  /// Rises from wait to wait; 0 while a request is at work.
  std::uint64_t waitsSince = 0;
  PortalTimer limit;
};

PortalListener::PortalListener(Limits limits, Accepted accepted, Message message)
    : limits_(limits),
      accepted_(std::move(accepted)),
      message_(std::move(message)),
      retry_([this] { watch(); }) {}

PortalListener::~PortalListener() {
  if (source_ == nullptr) return;
  g_source_destroy(source_);
  g_source_unref(source_);
}

Result<std::uint16_t> PortalListener::listen(GSocketAddress* address) {
  GError* error = nullptr;
  socket_.reset(g_socket_new(g_socket_address_get_family(address), G_SOCKET_TYPE_STREAM,
                             G_SOCKET_PROTOCOL_TCP, &error));
  const bool isListening = socket_ != nullptr &&
                           g_socket_bind(socket_.get(), address, TRUE, &error) != FALSE &&
                           g_socket_listen(socket_.get(), &error) != FALSE;
  const GLibOwned<GError> owned(error);
  if (!isListening) return Error("Portal", 1, error->message);
  g_socket_set_blocking(socket_.get(), FALSE);
  const GObjectOwned<GSocketAddress> local(g_socket_get_local_address(socket_.get(), nullptr));
  watch();
  return g_inet_socket_address_get_port(G_INET_SOCKET_ADDRESS(local.get()));
}

void PortalListener::watch() {
  if (source_ != nullptr) return;
  source_ = g_socket_create_source(socket_.get(), G_IO_IN, nullptr);
  const auto ready = [](GSocket*, GIOCondition, gpointer self) -> gboolean {
    static_cast<PortalListener*>(self)->accept();
    return G_SOURCE_CONTINUE;
  };
  g_source_set_callback(source_, G_SOURCE_FUNC(+ready), this, nullptr);
  g_source_attach(source_, g_main_context_get_thread_default());
}

void PortalListener::accept() {
  if (connections_.size() >= limits_.connections && !closeLongestWaiting()) {
    return runOut("all connections are at work");
  }
  GError* error = nullptr;
  const GObjectOwned<GSocket> socket(g_socket_accept(socket_.get(), nullptr, &error));
  const GLibOwned<GError> owned(error);
  if (!socket) {
    // Others are the peer's: it is gone again.
    const bool isShortage = g_error_matches(error, G_IO_ERROR, G_IO_ERROR_TOO_MANY_OPEN_FILES) ||
                            g_error_matches(error, G_IO_ERROR, G_IO_ERROR_FAILED) ||
                            g_error_matches(error, G_IO_ERROR, G_IO_ERROR_NO_SPACE);
    if (isShortage) runOut(error->message);
    return;
  }
  isShort_ = false;
  const GObjectOwned<GSocketConnection> stream(
      g_socket_connection_factory_create_connection(socket.get()));
  const GObjectOwned<GSocketAddress> local(g_socket_get_local_address(socket.get(), nullptr));
  const GObjectOwned<GSocketAddress> remote(g_socket_get_remote_address(socket.get(), nullptr));
  if (!local || !remote) return;
  connections_.emplace(remote.get(),
                       std::make_unique<Connection>(*this, stream.get(), remote.get()));
  accepted_(G_IO_STREAM(stream.get()), local.get(), remote.get());
}

/// Waits, as the socket stays ready and nothing can be done.
void PortalListener::runOut(const std::string& reason) {
  if (!std::exchange(isShort_, true)) message_("cannot take connections for now: " + reason);
  closeLongestWaiting();
  g_source_destroy(source_);
  g_source_unref(std::exchange(source_, nullptr));
  retry_.start(kBetweenAttempts);
}

bool PortalListener::closeLongestWaiting() {
  Connection* longest = nullptr;
  for (const auto& [remote, connection] : connections_) {
    if (connection->waitsSince == 0) continue;
    if (longest == nullptr || connection->waitsSince < longest->waitsSince) {
      longest = connection.get();
    }
  }
  if (longest != nullptr) longest->close();
  return longest != nullptr;
}

void PortalListener::requestArrived(GSocketAddress* remote) {
  const auto found = connections_.find(remote);
  if (found != connections_.end()) found->second->work();
}

void PortalListener::replied(GSocketAddress* remote) {
  const auto found = connections_.find(remote);
  if (found != connections_.end()) found->second->await();
}

void PortalListener::forget(GSocketAddress* remote) { connections_.erase(remote); }

}  // namespace ks::portal
