#include "BeaconSDK/Platform/Linux/Bus/BusService.h"

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

#include "BeaconSDK/Platform/Linux/Bus/RetryPause.h"
#include "BeaconSDK/Platform/Linux/Loop/GLibOwned.h"
#include "BeaconSDK/Platform/Location/Wakeup.h"

namespace ks {

namespace {

using Variant = GLibOwned<GVariant>;

/// Empty when there is none. The session bus is looked for here because GLib would start one, and
/// wait for it.
std::string addressOf(MessageBus bus) {
  if (bus == MessageBus::system) {
    const GLibOwned<gchar> address(
        g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
    return address ? address.get() : "";
  }
  const char* const address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
  if (address != nullptr && *address != '\0') return address;
  const char* const runtime = std::getenv("XDG_RUNTIME_DIR");
  const std::string folder =
      runtime != nullptr && *runtime == '/' ? runtime : "/run/user/" + std::to_string(geteuid());
  std::error_code ignored;
  if (!std::filesystem::is_socket(folder + "/bus", ignored)) return "";
  const GLibOwned<gchar> escaped(g_dbus_address_escape_value((folder + "/bus").c_str()));
  return std::string("unix:path=") + escaped.get();
}

bool contains(GVariant* names, const std::string& name) {
  GVariantIter iterator;
  g_variant_iter_init(&iterator, names);
  const gchar* each = nullptr;
  while (g_variant_iter_next(&iterator, "&s", &each) != FALSE) {
    if (name == each) return true;
  }
  return false;
}

}  // namespace

/// What callbacks of GIO reach through a weak reference.
class BusService::Core : public std::enable_shared_from_this<Core> {
 public:
  Core(std::string name, DispatchQueue& queue, std::function<void(bool)> presence,
       BusOptions options)
      : name_(std::move(name)),
        queue_(queue),
        presenceChanged_(std::move(presence)),
        options_(options) {}
  Core(const Core&) = delete;
  Core& operator=(const Core&) = delete;
  ~Core() { close(); }

  void connect();
  void close();
  BusPresence presence() const { return presence_; }
  void call(const BusCall& call, Reply reply);
  std::uint64_t addSignals(const BusSignals& signals, PathSignal handler);
  void removeSignals(const std::string& path);
  void removeSignals(std::uint64_t number);
  void addObject(BusObject object);
  void removeObjects(const std::string& path);

 private:
  struct Subscription {
    std::uint64_t number;
    BusSignals signals;
    std::string type;
    std::shared_ptr<PathSignal> handler;
    guint identifier = 0;
  };
  struct Exported {
    std::shared_ptr<BusObject> object;
    guint identifier = 0;
  };
  /// What a call to an object carries.
  struct ObjectTarget {
    std::weak_ptr<Core> core;
    std::shared_ptr<BusObject> object;
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
  void askWhetherStartable();
  void watch();
  void setPresence(BusPresence presence, const gchar* owner = "");
  void subscribe(Subscription& subscription);
  void signalArrived(std::uint64_t number, const gchar* path, GVariant* parameters);
  void unsubscribe(const Subscription& subscription);
  void offer(Exported& exported);
  gpointer weakSelf() { return new std::weak_ptr<Core>(weak_from_this()); }
  static void freeWeak(gpointer weak) { delete static_cast<std::weak_ptr<Core>*>(weak); }
  static std::shared_ptr<Core> lock(gpointer weak) {
    return static_cast<std::weak_ptr<Core>*>(weak)->lock();
  }

  const std::string name_;
  DispatchQueue& queue_;
  std::function<void(bool)> presenceChanged_;
  const BusOptions options_;
  GObjectOwned<GCancellable> cancellable_{g_cancellable_new()};
  GObjectOwned<GDBusConnection> connection_;
  gulong closedHandler_ = 0;
  guint watch_ = 0;
  /// The service's own address; empty while it is away.
  std::string owner_;
  BusPresence presence_ = BusPresence::unknown;
  bool startable_ = false;
  std::uint64_t lastSubscription_ = 0;
  std::vector<Subscription> subscriptions_;
  std::vector<Exported> objects_;
  RetryPause retryPause_;
  Wakeup retry_;
};

void BusService::Core::connect() {
  const std::string address = addressOf(options_.bus);
  if (address.empty()) {
    queue_.async([weak = weak_from_this()] {
      if (const auto core = weak.lock()) core->retryLater();
    });
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
  g_dbus_connection_new_for_address(address.c_str(), kFlags, nullptr, cancellable_.get(), done,
                                    weakSelf());
}

void BusService::Core::connected(GObjectOwned<GDBusConnection> connection) {
  connection_ = std::move(connection);
  retryPause_.reset();
  const auto closed = +[](GDBusConnection*, gboolean, GError*, gpointer weak) {
    if (const auto core = lock(weak)) core->disconnected();
  };
  closedHandler_ = g_signal_connect_data(
      connection_.get(), "closed", G_CALLBACK(closed), weakSelf(),
      [](gpointer weak, GClosure*) { freeWeak(weak); }, G_CONNECT_DEFAULT);
  for (Subscription& subscription : subscriptions_) subscribe(subscription);
  for (Exported& exported : objects_) offer(exported);
  if (options_.mayStart) {
    askWhetherStartable();
  } else {
    watch();
  }
}

void BusService::Core::askWhetherStartable() {
  const auto done = [](GObject* source, GAsyncResult* result, gpointer weak) {
    const Variant reply(g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, nullptr));
    const auto core = lock(weak);
    freeWeak(weak);
    if (!core || core->connection_.get() != G_DBUS_CONNECTION(source)) return;
    const Variant names(reply ? g_variant_get_child_value(reply.get(), 0) : nullptr);
    core->startable_ = names && contains(names.get(), core->name_);
    core->watch();
  };
  constexpr gint kTimeoutMilliseconds = 5000;
  g_dbus_connection_call(connection_.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                         "org.freedesktop.DBus", "ListActivatableNames", nullptr,
                         G_VARIANT_TYPE("(as)"), G_DBUS_CALL_FLAGS_NONE, kTimeoutMilliseconds,
                         cancellable_.get(), done, weakSelf());
}

void BusService::Core::watch() {
  const auto appeared = [](GDBusConnection*, const gchar*, const gchar* owner, gpointer weak) {
    if (const auto core = lock(weak)) core->setPresence(BusPresence::present, owner);
  };
  const auto vanished = [](GDBusConnection*, const gchar*, gpointer weak) {
    const auto core = lock(weak);
    if (core) core->setPresence(core->startable_ ? BusPresence::startable : BusPresence::absent);
  };
  watch_ = g_bus_watch_name_on_connection(connection_.get(), name_.c_str(),
                                          G_BUS_NAME_WATCHER_FLAGS_NONE, appeared, vanished,
                                          weakSelf(), freeWeak);
}

void BusService::Core::close() {
  g_cancellable_cancel(cancellable_.get());
  presenceChanged_ = nullptr;
  disconnected();
  retry_.cancel();
  subscriptions_.clear();
  objects_.clear();
}

void BusService::Core::disconnected() {
  if (!connection_) return;
  if (watch_ != 0) g_bus_unwatch_name(std::exchange(watch_, 0));
  for (Subscription& subscription : subscriptions_) {
    if (subscription.identifier == 0) continue;
    g_dbus_connection_signal_unsubscribe(connection_.get(),
                                         std::exchange(subscription.identifier, 0));
  }
  for (Exported& exported : objects_) {
    if (exported.identifier == 0) continue;
    g_dbus_connection_unregister_object(connection_.get(), std::exchange(exported.identifier, 0));
  }
  g_signal_handler_disconnect(connection_.get(), std::exchange(closedHandler_, 0));
  g_dbus_connection_close(connection_.get(), nullptr, nullptr, nullptr);
  connection_.reset();
  startable_ = false;
  retryLater();
}

void BusService::Core::retryLater() {
  if (!presenceChanged_) return;
  retry_.arm(queue_, retryPause_.next(), [this] { connect(); });
  setPresence(BusPresence::noBus);
}

void BusService::Core::setPresence(BusPresence presence, const gchar* owner) {
  owner_ = owner;
  const BusPresence before = std::exchange(presence_, presence);
  const bool present = presence == BusPresence::present;
  const bool isNews = before == BusPresence::unknown ||
                      present != (before == BusPresence::present) ||
                      presence == BusPresence::startable;
  if (before == presence || !isNews) return;
  // The callback may end the service object.
  const auto changed = presenceChanged_;
  if (changed) changed(present);
}

void BusService::Core::call(const BusCall& call, Reply reply) {
  const Variant parameters(call.parameters ? g_variant_ref_sink(call.parameters) : nullptr);
  if (presence_ != BusPresence::present && presence_ != BusPresence::startable) {
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
      call.replyType ? G_VARIANT_TYPE(call.replyType) : nullptr,
      options_.mayStart ? G_DBUS_CALL_FLAGS_NONE : G_DBUS_CALL_FLAGS_NO_AUTO_START,
      static_cast<gint>(call.timeout.count() * kMilliseconds), nullptr, cancellable_.get(), done,
      new PendingCall{weak_from_this(), std::move(reply)});
}

std::uint64_t BusService::Core::addSignals(const BusSignals& signals, PathSignal handler) {
  subscriptions_.push_back({++lastSubscription_, signals, signals.type,
                            std::make_shared<PathSignal>(std::move(handler))});
  if (connection_) subscribe(subscriptions_.back());
  return lastSubscription_;
}

void BusService::Core::removeSignals(const std::string& path) {
  std::erase_if(subscriptions_, [&](const Subscription& subscription) {
    if (subscription.signals.path != path) return false;
    unsubscribe(subscription);
    return true;
  });
}

void BusService::Core::removeSignals(std::uint64_t number) {
  std::erase_if(subscriptions_, [&](const Subscription& subscription) {
    if (subscription.number != number) return false;
    unsubscribe(subscription);
    return true;
  });
}

void BusService::Core::unsubscribe(const Subscription& subscription) {
  if (!connection_) return;
  g_dbus_connection_signal_unsubscribe(connection_.get(), subscription.identifier);
}

void BusService::Core::subscribe(Subscription& subscription) {
  const auto arrived = [](GDBusConnection*, const gchar*, const gchar* path, const gchar*,
                          const gchar*, GVariant* parameters, gpointer data) {
    const auto* target = static_cast<SignalTarget*>(data);
    if (const auto core = target->core.lock()) {
      core->signalArrived(target->number, path, parameters);
    }
  };
  const auto orAny = [](const std::string& text) { return text.empty() ? nullptr : text.c_str(); };
  const BusSignals& signals = subscription.signals;
  subscription.identifier = g_dbus_connection_signal_subscribe(
      connection_.get(), name_.c_str(), orAny(signals.interface), orAny(signals.member),
      orAny(signals.path), orAny(signals.argument0), G_DBUS_SIGNAL_FLAGS_NONE, arrived,
      new SignalTarget{weak_from_this(), subscription.number},
      [](gpointer data) { delete static_cast<SignalTarget*>(data); });
}

void BusService::Core::signalArrived(std::uint64_t number, const gchar* path,
                                     GVariant* parameters) {
  const auto found = std::find_if(subscriptions_.begin(), subscriptions_.end(),
                                  [&](const Subscription& each) { return each.number == number; });
  if (found == subscriptions_.end()) return;
  if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE(found->type.c_str()))) return;
  // The handler may end its own subscription.
  const auto handler = found->handler;
  (*handler)(path, parameters);
}

void BusService::Core::addObject(BusObject object) {
  objects_.push_back({std::make_shared<BusObject>(std::move(object))});
  if (connection_) offer(objects_.back());
}

void BusService::Core::removeObjects(const std::string& path) {
  std::erase_if(objects_, [&](const Exported& exported) {
    if (exported.object->path != path) return false;
    if (exported.identifier != 0) {
      g_dbus_connection_unregister_object(connection_.get(), exported.identifier);
    }
    return true;
  });
}

void BusService::Core::offer(Exported& exported) {
  const auto called = [](GDBusConnection*, const gchar* sender, const gchar*, const gchar*,
                         const gchar* method, GVariant* parameters,
                         GDBusMethodInvocation* invocation, gpointer data) {
    const auto* target = static_cast<ObjectTarget*>(data);
    const auto core = target->core.lock();
    if (!core || core->owner_.empty() || core->owner_ != sender) {
      g_dbus_method_invocation_return_error_literal(invocation, G_DBUS_ERROR,
                                                    G_DBUS_ERROR_ACCESS_DENIED,
                                                    "only the service itself may call this");
      return;
    }
    const auto object = target->object;
    g_dbus_method_invocation_return_value(invocation, object->call(method, parameters));
  };
  const auto asked = [](GDBusConnection*, const gchar*, const gchar*, const gchar*,
                        const gchar* property, GError**, gpointer data) {
    return static_cast<ObjectTarget*>(data)->object->property(property);
  };
  static const GDBusInterfaceVTable kTable{called, asked, nullptr, {}};
  GDBusNodeInfo* const node =
      g_dbus_node_info_new_for_xml(exported.object->description.c_str(), nullptr);
  exported.identifier = g_dbus_connection_register_object(
      connection_.get(), exported.object->path.c_str(), node->interfaces[0], &kTable,
      new ObjectTarget{weak_from_this(), exported.object},
      [](gpointer data) { delete static_cast<ObjectTarget*>(data); }, nullptr);
  g_dbus_node_info_unref(node);
}

BusService::BusService(std::string name, DispatchQueue& queue,
                       std::function<void(bool present)> presence, BusOptions options)
    : core_(std::make_shared<Core>(std::move(name), queue, std::move(presence), options)) {
  core_->connect();
}

BusService::~BusService() { core_->close(); }

BusPresence BusService::presence() const { return core_->presence(); }

void BusService::call(const BusCall& call, Reply reply) { core_->call(call, std::move(reply)); }

void BusService::onSignal(std::string path, std::string interface, std::string member,
                          const char* type, Signal handler) {
  core_->addSignals({std::move(path), std::move(interface), std::move(member), "", type},
                    [handler = std::move(handler)](std::string_view, GVariant* parameters) {
                      handler(parameters);
                    });
}

std::uint64_t BusService::onSignals(const BusSignals& signals, PathSignal handler) {
  return core_->addSignals(signals, std::move(handler));
}

void BusService::forgetSignals(const std::string& path) { core_->removeSignals(path); }

void BusService::forgetSignals(std::uint64_t subscription) { core_->removeSignals(subscription); }

void BusService::exportObject(BusObject object) { core_->addObject(std::move(object)); }

void BusService::withdrawObjects(const std::string& path) { core_->removeObjects(path); }

std::string busErrorText(const GError& error) {
  constexpr glong kLongest = 200;
  const GLibOwned<GError> copy(g_error_copy(&error));
  g_dbus_error_strip_remote_error(copy.get());
  const glong length = std::min(g_utf8_strlen(copy->message, -1), kLongest);
  std::string text = GLibOwned<gchar>(g_utf8_substring(copy->message, 0, length)).get();
  std::replace_if(
      text.begin(), text.end(), [](unsigned char byte) { return byte < ' '; }, ' ');
  return text;
}

}  // namespace ks
