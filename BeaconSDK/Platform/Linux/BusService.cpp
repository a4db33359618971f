#include "BeaconSDK/Platform/Linux/BusService.h"

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "BeaconSDK/Platform/Http/GLibOwned.h"
#include "BeaconSDK/Platform/Location/Wakeup.h"

namespace ks {

namespace {

/// Between two attempts to reach the bus: doubled from the first to the last.
constexpr Seconds kFirstRetry{1};
constexpr Seconds kLastRetry{60};

struct VariantDeleter {
  void operator()(GVariant* variant) const { g_variant_unref(variant); }
};
using Variant = std::unique_ptr<GVariant, VariantDeleter>;

}  // namespace

/// What callbacks of GIO reach through a weak reference.
class BusService::Core : public std::enable_shared_from_this<Core> {
 public:
  Core(std::string name, DispatchQueue& queue, std::function<void(bool)> presence)
      : name_(std::move(name)), queue_(queue), presence_(std::move(presence)) {}
  Core(const Core&) = delete;
  Core& operator=(const Core&) = delete;
  ~Core() { close(); }

  void connect();
  void close();
  bool isPresent() const { return present_; }
  void call(const BusCall& call, Reply reply);
  void addSignal(std::string path, std::string interface, std::string member, const char* type,
                 Signal handler);
  void removeSignals(const std::string& path);

 private:
  struct Subscription {
    std::uint64_t number;
    std::string path;
    std::string interface;
    std::string member;
    std::string type;
    std::shared_ptr<Signal> handler;
    guint identifier = 0;
  };
  /// What a signal's callback carries.
  struct SignalTarget {
    std::weak_ptr<Core> core;
    std::uint64_t number;
  };
  struct PendingCall {
    std::weak_ptr<Core> core;
    Reply reply;
  };

  void connected(GObjectOwned<GDBusConnection> connection);
  void disconnected();
  void retryLater();
  void setPresent(bool present);
  void subscribe(Subscription& subscription);
  void signalArrived(std::uint64_t number, GVariant* parameters);
  gpointer weakSelf() { return new std::weak_ptr<Core>(weak_from_this()); }
  static void freeWeak(gpointer weak) { delete static_cast<std::weak_ptr<Core>*>(weak); }
  static std::shared_ptr<Core> lock(gpointer weak) {
    return static_cast<std::weak_ptr<Core>*>(weak)->lock();
  }

  const std::string name_;
  DispatchQueue& queue_;
  std::function<void(bool)> presence_;
  GObjectOwned<GCancellable> cancellable_{g_cancellable_new()};
  GObjectOwned<GDBusConnection> connection_;
  gulong closedHandler_ = 0;
  guint watch_ = 0;
  bool present_ = false;
  std::uint64_t lastSubscription_ = 0;
  std::vector<Subscription> subscriptions_;
  Seconds nextRetry_ = kFirstRetry;
  Wakeup retry_;
};

void BusService::Core::connect() {
  const GLibOwned<gchar> address(
      g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
  if (!address) {
    retryLater();
    return;
  }
  const auto done = [](GObject*, GAsyncResult* result, gpointer weak) {
    GError* error = nullptr;
    GObjectOwned<GDBusConnection> connection(
        g_dbus_connection_new_for_address_finish(result, &error));
    const GLibOwned<GError> owned(error);
    const auto core = lock(weak);
    freeWeak(weak);
    if (!core) return;
    if (connection) {
      core->connected(std::move(connection));
    } else {
      core->retryLater();
    }
  };
  constexpr auto kFlags =
      static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                        G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
  // A connection of its own: the shared one would end the process together with the bus.
  g_dbus_connection_new_for_address(address.get(), kFlags, nullptr, cancellable_.get(), done,
                                    weakSelf());
}

void BusService::Core::connected(GObjectOwned<GDBusConnection> connection) {
  connection_ = std::move(connection);
  nextRetry_ = kFirstRetry;
  const auto closed = +[](GDBusConnection*, gboolean, GError*, gpointer weak) {
    if (const auto core = lock(weak)) core->disconnected();
  };
  closedHandler_ = g_signal_connect_data(
      connection_.get(), "closed", G_CALLBACK(closed), weakSelf(),
      [](gpointer weak, GClosure*) { freeWeak(weak); }, G_CONNECT_DEFAULT);
  for (Subscription& subscription : subscriptions_) subscribe(subscription);
  const auto appeared = [](GDBusConnection*, const gchar*, const gchar*, gpointer weak) {
    if (const auto core = lock(weak)) core->setPresent(true);
  };
  const auto vanished = [](GDBusConnection*, const gchar*, gpointer weak) {
    if (const auto core = lock(weak)) core->setPresent(false);
  };
  watch_ = g_bus_watch_name_on_connection(connection_.get(), name_.c_str(),
                                          G_BUS_NAME_WATCHER_FLAGS_NONE, appeared, vanished,
                                          weakSelf(), freeWeak);
}

void BusService::Core::close() {
  g_cancellable_cancel(cancellable_.get());
  presence_ = nullptr;
  disconnected();
  retry_.cancel();
  subscriptions_.clear();
}

void BusService::Core::disconnected() {
  if (!connection_) return;
  if (watch_ != 0) g_bus_unwatch_name(std::exchange(watch_, 0));
  for (Subscription& subscription : subscriptions_) {
    if (subscription.identifier == 0) continue;
    g_dbus_connection_signal_unsubscribe(connection_.get(),
                                         std::exchange(subscription.identifier, 0));
  }
  g_signal_handler_disconnect(connection_.get(), std::exchange(closedHandler_, 0));
  g_dbus_connection_close(connection_.get(), nullptr, nullptr, nullptr);
  connection_.reset();
  setPresent(false);
  retryLater();
}

void BusService::Core::retryLater() {
  if (!presence_) return;
  retry_.arm(queue_, nextRetry_, [this] { connect(); });
  nextRetry_ = std::min(nextRetry_ * 2, kLastRetry);
}

void BusService::Core::setPresent(bool present) {
  if (std::exchange(present_, present) == present) return;
  const auto presence = presence_;
  if (presence) presence(present);
}

void BusService::Core::call(const BusCall& call, Reply reply) {
  const Variant parameters(call.parameters ? g_variant_ref_sink(call.parameters) : nullptr);
  if (!present_) {
    queue_.async([weak = weak_from_this(), reply = std::move(reply)] {
      if (!weak.lock()) return;
      const GLibOwned<GError> error(
          g_error_new_literal(G_IO_ERROR, G_IO_ERROR_NOT_CONNECTED, "the service is not there"));
      reply(nullptr, nullptr, error.get());
    });
    return;
  }
  const auto done = [](GObject* source, GAsyncResult* result, gpointer data) {
    const std::unique_ptr<PendingCall> pending(static_cast<PendingCall*>(data));
    GError* error = nullptr;
    GUnixFDList* descriptors = nullptr;
    const Variant reply(g_dbus_connection_call_with_unix_fd_list_finish(
        G_DBUS_CONNECTION(source), &descriptors, result, &error));
    const GLibOwned<GError> ownedError(error);
    const GObjectOwned<GUnixFDList> ownedDescriptors(descriptors);
    if (pending->core.lock()) pending->reply(reply.get(), descriptors, error);
  };
  constexpr double kMilliseconds = 1000;
  g_dbus_connection_call_with_unix_fd_list(
      connection_.get(), name_.c_str(), call.path.c_str(), call.interface.c_str(),
      call.method.c_str(), parameters.get(),
      call.replyType ? G_VARIANT_TYPE(call.replyType) : nullptr, G_DBUS_CALL_FLAGS_NO_AUTO_START,
      static_cast<gint>(call.timeout.count() * kMilliseconds), nullptr, cancellable_.get(), done,
      new PendingCall{weak_from_this(), std::move(reply)});
}

void BusService::Core::addSignal(std::string path, std::string interface, std::string member,
                                 const char* type, Signal handler) {
  subscriptions_.push_back({++lastSubscription_, std::move(path), std::move(interface),
                            std::move(member), type, std::make_shared<Signal>(std::move(handler))});
  if (connection_) subscribe(subscriptions_.back());
}

void BusService::Core::removeSignals(const std::string& path) {
  std::erase_if(subscriptions_, [&](const Subscription& subscription) {
    if (subscription.path != path) return false;
    if (connection_) {
      g_dbus_connection_signal_unsubscribe(connection_.get(), subscription.identifier);
    }
    return true;
  });
}

void BusService::Core::subscribe(Subscription& subscription) {
  const auto arrived = [](GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
                          GVariant* parameters, gpointer data) {
    const auto* target = static_cast<SignalTarget*>(data);
    if (const auto core = target->core.lock()) core->signalArrived(target->number, parameters);
  };
  subscription.identifier = g_dbus_connection_signal_subscribe(
      connection_.get(), name_.c_str(), subscription.interface.c_str(), subscription.member.c_str(),
      subscription.path.c_str(), nullptr, G_DBUS_SIGNAL_FLAGS_NONE, arrived,
      new SignalTarget{weak_from_this(), subscription.number},
      [](gpointer data) { delete static_cast<SignalTarget*>(data); });
}

void BusService::Core::signalArrived(std::uint64_t number, GVariant* parameters) {
  const auto found = std::find_if(subscriptions_.begin(), subscriptions_.end(),
                                  [&](const Subscription& each) { return each.number == number; });
  if (found == subscriptions_.end()) return;
  if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE(found->type.c_str()))) return;
  // The handler may end its own subscription.
  const auto handler = found->handler;
  (*handler)(parameters);
}

BusService::BusService(std::string name, DispatchQueue& queue,
                       std::function<void(bool present)> presence)
    : core_(std::make_shared<Core>(std::move(name), queue, std::move(presence))) {
  core_->connect();
}

BusService::~BusService() { core_->close(); }

bool BusService::isPresent() const { return core_->isPresent(); }

void BusService::call(const BusCall& call, Reply reply) { core_->call(call, std::move(reply)); }

void BusService::onSignal(std::string path, std::string interface, std::string member,
                          const char* type, Signal handler) {
  core_->addSignal(std::move(path), std::move(interface), std::move(member), type,
                   std::move(handler));
}

void BusService::forgetSignals(const std::string& path) { core_->removeSignals(path); }

}  // namespace ks
