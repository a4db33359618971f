#include "BeaconSDK/Platform/Linux/Bus/SharedBuses.h"

#include <gio/gio.h>

#include <algorithm>
#include <utility>

#include "BeaconSDK/Platform/Linux/Bus/RetryPause.h"
#include "BeaconSDK/Platform/Linux/Loop/GLibOwned.h"
#include "BeaconSDK/Platform/Location/Wakeup.h"

namespace ks {

namespace {

/// Between two attempts to reach a bus that has ended: doubled from the first to the last.

}  // namespace

/// Holds the shared connection to one bus, and the next one when that has ended.
class SharedBuses::Bus : public std::enable_shared_from_this<Bus> {
 public:
  Bus(GBusType type, DispatchQueue& queue) : type_(type), queue_(queue) {}
  Bus(const Bus&) = delete;
  Bus& operator=(const Bus&) = delete;
  ~Bus() { release(); }

  void connect() {
    const auto done = [](GObject*, GAsyncResult* result, gpointer data) {
      const std::unique_ptr<std::weak_ptr<Bus>> weak(static_cast<std::weak_ptr<Bus>*>(data));
      GError* error = nullptr;
      GObjectOwned<GDBusConnection> connection(g_bus_get_finish(result, &error));
      const GLibOwned<GError> owned(error);
      if (connection) g_dbus_connection_set_exit_on_close(connection.get(), FALSE);
      if (const auto bus = weak->lock()) bus->connected(std::move(connection));
    };
    g_bus_get(type_, nullptr, done, new std::weak_ptr<Bus>(weak_from_this()));
  }

 private:
  void connected(GObjectOwned<GDBusConnection> connection) {
    if (!connection || g_dbus_connection_is_closed(connection.get()) != FALSE) {
      // Where there never was a bus, nobody shares a connection to it.
      if (wasConnected_) retryLater();
      return;
    }
    wasConnected_ = true;
    retryPause_.reset();
    connection_ = std::move(connection);
    const auto closed = +[](GDBusConnection*, gboolean, GError*, gpointer bus) {
      static_cast<Bus*>(bus)->release();
      static_cast<Bus*>(bus)->retryLater();
    };
    handler_ = g_signal_connect(connection_.get(), "closed", G_CALLBACK(closed), this);
  }
  void release() {
    if (!connection_) return;
    g_signal_handler_disconnect(connection_.get(), handler_);
    connection_.reset();
  }
  void retryLater() {
    retry_.arm(queue_, retryPause_.next(), [this] { connect(); });
  }

  GBusType type_;
  DispatchQueue& queue_;
  GObjectOwned<GDBusConnection> connection_;
  gulong handler_ = 0;
  bool wasConnected_ = false;
  RetryPause retryPause_;
  Wakeup retry_;
};

SharedBuses::SharedBuses(DispatchQueue& mainQueue)
    : system_(std::make_shared<Bus>(G_BUS_TYPE_SYSTEM, mainQueue)),
      session_(std::make_shared<Bus>(G_BUS_TYPE_SESSION, mainQueue)) {
  system_->connect();
  session_->connect();
}

SharedBuses::~SharedBuses() = default;

}  // namespace ks
