#include "BeaconSDK/Platform/Linux/Positions/Gpsd.h"

#include <gio/gio.h>

#include <algorithm>
#include <array>
#include <functional>
#include <string>
#include <utility>

#include "BeaconSDK/Platform/Linux/Loop/GLibOwned.h"
#include "BeaconSDK/Platform/Linux/Positions/GpsdProtocol.h"

namespace ks {

namespace {

/// The daemon introduces itself at once.
constexpr Seconds kIntroductionLimit{10};

}  // namespace

/// One connection. Operations under way hold it, because they write into its buffer.
class Gpsd::Connection : public std::enable_shared_from_this<Connection> {
 public:
  struct Listener {
    std::function<void(std::string_view line)> line;
    std::function<void(std::string reason)> ended;
  };
  explicit Connection(Listener listener) : listener_(std::move(listener)) {}

  void open(std::uint16_t port);
  /// The text must live as long as the program.
  void send(std::string_view text);
  /// The listener hears no more.
  void close();

 private:
  using Self = std::shared_ptr<Connection>;
  static Self take(gpointer data) {
    const std::unique_ptr<Self> self(static_cast<Self*>(data));
    return *self;
  }
  gpointer hold() { return new Self(shared_from_this()); }
  void read();
  void end(std::string reason);

  Listener listener_;
  bool closed_ = false;
  GObjectOwned<GCancellable> cancellable_{g_cancellable_new()};
  GObjectOwned<GSocketConnection> connection_;
  std::array<char, 4096> buffer_;
  LineSplitter lines_;
};

void Gpsd::Connection::open(std::uint16_t port) {
  const GObjectOwned<GSocketClient> client(g_socket_client_new());
  g_socket_client_set_enable_proxy(client.get(), FALSE);
  const GObjectOwned<GInetAddress> loopback(g_inet_address_new_loopback(G_SOCKET_FAMILY_IPV4));
  const GObjectOwned<GSocketAddress> address(g_inet_socket_address_new(loopback.get(), port));
  const auto done = [](GObject* source, GAsyncResult* result, gpointer data) {
    const Self self = take(data);
    GError* error = nullptr;
    self->connection_.reset(
        g_socket_client_connect_finish(G_SOCKET_CLIENT(source), result, &error));
    const GLibOwned<GError> owned(error);
    if (self->closed_) return;
    if (error == nullptr) {
      self->read();
    } else {
      const bool nobody = g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CONNECTION_REFUSED) != 0;
      self->end(nobody ? "gpsd is not running"
                       : std::string("gpsd cannot be reached: ") + error->message);
    }
  };
  g_socket_client_connect_async(client.get(), G_SOCKET_CONNECTABLE(address.get()),
                                cancellable_.get(), done, hold());
}

void Gpsd::Connection::read() {
  GInputStream* const stream = g_io_stream_get_input_stream(G_IO_STREAM(connection_.get()));
  const auto done = [](GObject* source, GAsyncResult* result, gpointer data) {
    const Self self = take(data);
    const gssize count = g_input_stream_read_finish(G_INPUT_STREAM(source), result, nullptr);
    if (self->closed_) return;
    if (count <= 0) {
      self->end("gpsd has closed the connection");
      return;
    }
    self->lines_.add({self->buffer_.data(), static_cast<std::size_t>(count)},
                     [&](std::string_view line) {
                       if (!self->closed_) self->listener_.line(line);
                     });
    if (!self->closed_) self->read();
  };
  g_input_stream_read_async(stream, buffer_.data(), buffer_.size(), G_PRIORITY_DEFAULT,
                            cancellable_.get(), done, hold());
}

void Gpsd::Connection::send(std::string_view text) {
  GOutputStream* const stream = g_io_stream_get_output_stream(G_IO_STREAM(connection_.get()));
  const auto done = [](GObject* source, GAsyncResult* result, gpointer data) {
    // What fails here fails the reading too.
    const Self self = take(data);
    g_output_stream_write_all_finish(G_OUTPUT_STREAM(source), result, nullptr, nullptr);
  };
  g_output_stream_write_all_async(stream, text.data(), text.size(), G_PRIORITY_DEFAULT,
                                  cancellable_.get(), done, hold());
}

void Gpsd::Connection::close() {
  closed_ = true;
  g_cancellable_cancel(cancellable_.get());
}

void Gpsd::Connection::end(std::string reason) {
  closed_ = true;
  // The listener may drop the connection.
  const auto ended = listener_.ended;
  ended(std::move(reason));
}

Gpsd::Gpsd(DispatchQueue& queue, std::uint16_t port, PositionSourceListener listener)
    : queue_(queue), port_(port), listener_(std::move(listener)) {}

Gpsd::~Gpsd() { disconnect(); }

void Gpsd::setWanted(bool wanted) {
  if (wanted == (status_.stage != PositionSourceStatus::Stage::idle)) return;
  if (wanted) {
    status_ = {PositionSourceStatus::Stage::starting, "gpsd has not answered yet", ""};
    retryPause_.reset();
    connect();
  } else {
    disconnect();
    status_ = {};
  }
}

void Gpsd::connect() {
  disconnect();
  connection_ = std::make_shared<Connection>(Connection::Listener{
      [this](std::string_view line) { lineArrived(line); },
      [this](std::string reason) { failed(std::move(reason)); },
  });
  connection_->open(port_);
  patience_.arm(queue_, kIntroductionLimit, [this] { failed("gpsd does not introduce itself"); });
}

void Gpsd::disconnect() {
  retry_.cancel();
  patience_.cancel();
  introduced_ = false;
  if (const auto connection = std::exchange(connection_, nullptr)) connection->close();
}

void Gpsd::failed(std::string detail) {
  disconnect();
  retry_.arm(queue_, retryPause_.next(), [this] { connect(); });
  setStatus({PositionSourceStatus::Stage::unusable, std::move(detail),
             "apt install gpsd && systemctl enable --now gpsd.socket"});
}

void Gpsd::lineArrived(std::string_view line) {
  const GpsdLine read = readGpsdLine(line);
  if (!introduced_) {
    if (!std::holds_alternative<GpsdIntroduction>(read)) {
      failed("somebody else answers at the port of gpsd");
      return;
    }
    introduced_ = true;
    saidUnreadable_ = false;
    patience_.cancel();
    connection_->send(kGpsdWatch);
    setStatus({PositionSourceStatus::Stage::ready, "gpsd runs but has no fix", ""});
  } else if (std::holds_alternative<GpsdUnreadable>(read)) {
    if (std::exchange(saidUnreadable_, true)) return;
    setStatus({PositionSourceStatus::Stage::unusable, "gpsd sends what cannot be read", ""});
  } else if (std::holds_alternative<GpsdNoFix>(read)) {
    setStatus({PositionSourceStatus::Stage::ready, "gpsd runs but has no fix", ""});
  } else if (const auto* const report = std::get_if<PositionReport>(&read)) {
    retryPause_.reset();
    setStatus({PositionSourceStatus::Stage::ready, "gpsd gives positions", ""});
    listener_.reported(*report);
  }
}

void Gpsd::setStatus(PositionSourceStatus status) {
  if (status == status_) return;
  status_ = std::move(status);
  listener_.statusChanged();
}

}  // namespace ks
