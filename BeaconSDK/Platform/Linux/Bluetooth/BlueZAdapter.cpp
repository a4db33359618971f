#include "BeaconSDK/Platform/Linux/Bluetooth/BlueZAdapter.h"

#include <algorithm>
#include <utility>

#include "BeaconSDK/Platform/Linux/Bluetooth/BlueZNames.h"
#include "BeaconSDK/Platform/Linux/Loop/GLibOwned.h"

namespace ks {

namespace {

/// Controllers that leave repetitions out report each device once per start of the discovery.
constexpr Seconds kRestartInterval{1};
constexpr Seconds kLongestSilence{10};

constexpr const char* kInProgress = "org.bluez.Error.InProgress";
constexpr const char* kAlreadyExists = "org.bluez.Error.AlreadyExists";

bool isNamed(const GError* error, std::string_view name) {
  if (error == nullptr || g_dbus_error_is_remote_error(error) == FALSE) return false;
  const GLibOwned<gchar> remote(g_dbus_error_get_remote_error(error));
  return remote && name == remote.get();
}

bool isRefusal(const GError* error) {
  return g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_ACCESS_DENIED) != FALSE ||
         g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_AUTH_FAILED) != FALSE ||
         isNamed(error, "org.bluez.Error.NotAuthorized") ||
         isNamed(error, "org.bluez.Error.NotPermitted");
}

/// The daemon did not answer, which says nothing about what it can do.
bool isSilence(const GError* error) {
  return g_error_matches(error, G_IO_ERROR, G_IO_ERROR_TIMED_OUT) != FALSE ||
         g_error_matches(error, G_IO_ERROR, G_IO_ERROR_NOT_CONNECTED) != FALSE ||
         g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CLOSED) != FALSE ||
         g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_NO_REPLY) != FALSE;
}

/// Low Energy only, and every repetition.
GVariant* discoveryFilter() {
  GVariantBuilder filter;
  g_variant_builder_init(&filter, G_VARIANT_TYPE_VARDICT);
  g_variant_builder_add(&filter, "{sv}", "Transport", g_variant_new_string("le"));
  g_variant_builder_add(&filter, "{sv}", "DuplicateData", g_variant_new_boolean(TRUE));
  return g_variant_new("(@a{sv})", g_variant_builder_end(&filter));
}

std::string lastElement(std::string_view path) {
  return std::string(path.substr(path.rfind('/') + 1));
}

std::string monitorPath(std::string_view adapter, const char* kind) {
  return "/org/ksbeacon/" + lastElement(adapter) + "/" + kind;
}

}  // namespace

BlueZAdapter::BlueZAdapter(BusService& service, DispatchQueue& queue, std::string path,
                           Listener listener)
    : service_(service),
      queue_(queue),
      path_(std::move(path)),
      listener_(std::move(listener)),
      everyPacket_(service, monitorPath(path_, "every"), BlueZMonitor::Kind::everyPacket,
                   {listener_.deviceFound, [this] { released(everyPacket_); }}),
      // Its beacons come from the discovery, with their strength.
      quiet_(service, monitorPath(path_, "quiet"), BlueZMonitor::Kind::quiet,
             {[](std::string_view) {}, [this] { released(quiet_); }}) {}

std::string BlueZAdapter::name() const { return lastElement(path_); }

void BlueZAdapter::setListening(RadioListening listening) {
  if (std::exchange(listening_, listening) == listening) return;
  retry_.cancel();
  advance();
}

void BlueZAdapter::setPowered(bool powered) {
  if (std::exchange(powered_, powered) == powered) return;
  retry_.cancel();
  restart_.cancel();
  // Without power the daemon ends every discovery; monitors may have become possible.
  discovering_ = false;
  hasFilter_ = false;
  monitorsFailed_ = false;
  retryPause_.reset();
  advance();
  listener_.changed();
}

void BlueZAdapter::setHasMonitors(bool hasMonitors) {
  if (std::exchange(hasMonitors_, hasMonitors) == hasMonitors) return;
  if (!hasMonitors) registered_ = nullptr;
  monitorsFailed_ = false;
  advance();
  listener_.changed();
}

const BlueZMonitor* BlueZAdapter::wantedMonitor() const {
  if (!powered_ || !usesMonitors()) return nullptr;
  switch (listening_) {
    case RadioListening::none:
      return nullptr;
    case RadioListening::beacons:
      return &everyPacket_;
    case RadioListening::everything:
      return &quiet_;
  }
  return nullptr;
}

bool BlueZAdapter::wantsDiscovery() const {
  if (!powered_ || listening_ == RadioListening::none) return false;
  return listening_ == RadioListening::everything || !usesMonitors();
}

void BlueZAdapter::advance() {
  if (busy_ || retry_.isArmed()) return;
  const BlueZMonitor* const monitor = wantedMonitor();
  const bool discovery = wantsDiscovery();
  if (monitor == nullptr && !discovery) setListens(false);
  if (registered_ != nullptr && registered_ != monitor) {
    const auto* const old = std::exchange(registered_, nullptr);
    call(bluez::kMonitorManager, "UnregisterMonitor", g_variant_new("(o)", old->path().c_str()),
         &BlueZAdapter::monitorUnregistered);
  } else if (registered_ != monitor) {
    registering_ = monitor;
    call(bluez::kMonitorManager, "RegisterMonitor", g_variant_new("(o)", monitor->path().c_str()),
         &BlueZAdapter::monitorRegistered);
  } else if (discovering_ && (!discovery || stale_)) {
    call(bluez::kAdapter, "StopDiscovery", nullptr, &BlueZAdapter::discoveryStopped);
  } else if (!discovering_ && discovery && !hasFilter_) {
    call(bluez::kAdapter, "SetDiscoveryFilter", discoveryFilter(), &BlueZAdapter::filterSet);
  } else if (!discovering_ && discovery) {
    call(bluez::kAdapter, "StartDiscovery", nullptr, &BlueZAdapter::discoveryStarted);
  } else {
    settled();
  }
}

void BlueZAdapter::settled() {
  setListens(registered_ != nullptr || discovering_);
  if (!discovering_) {
    restart_.cancel();
  } else if (!restart_.isArmed()) {
    heard_ = false;
    restart_.arm(queue_, registered_ != nullptr ? kLongestSilence : kRestartInterval, [this] {
      stale_ = registered_ == nullptr || !heard_;
      advance();
    });
  }
}

void BlueZAdapter::call(const char* interface, const char* method, GVariant* parameters,
                        Next next) {
  busy_ = true;
  service_.call({.path = path_, .interface = interface, .method = method, .parameters = parameters},
                [weak = weak_from_this(), next](GVariant*, GUnixFDList*, const GError* error) {
                  const auto self = weak.lock();
                  if (!self) return;
                  self->busy_ = false;
                  ((*self).*next)(error);
                  self->advance();
                });
}

void BlueZAdapter::monitorRegistered(const GError* error) {
  const BlueZMonitor* const monitor = std::exchange(registering_, nullptr);
  if (error == nullptr || isNamed(error, kAlreadyExists)) {
    registered_ = monitor;
    succeeded();
  } else if (isRefusal(error) || isSilence(error)) {
    failed(error);
  } else {
    monitorsFailed_ = true;
    listener_.changed();
  }
}

/// Any other error means that it was not registered.
void BlueZAdapter::monitorUnregistered(const GError* error) {
  if (isSilence(error)) failed(error);
}

void BlueZAdapter::filterSet(const GError* error) {
  if (error != nullptr) {
    failed(error);
    return;
  }
  hasFilter_ = true;
}

void BlueZAdapter::discoveryStarted(const GError* error) {
  if (isNamed(error, kInProgress)) {
    // Either ours of which an answer was lost, or one that a daemon has left in the kernel, where
    // it ends after 10 s: only one that is begun now is sure to go on.
    discovering_ = powered_;
    stale_ = true;
    retryPause_.reset();
    failed(error);
    return;
  }
  if (error != nullptr) {
    failed(error);
    return;
  }
  discovering_ = powered_;
  stale_ = false;
  succeeded();
}

/// An error means that there was none under way.
void BlueZAdapter::discoveryStopped(const GError* error) {
  discovering_ = false;
  stale_ = false;
  if (isSilence(error)) failed(error);
}

void BlueZAdapter::released(const BlueZMonitor& monitor) {
  // The daemon also releases what was just unregistered.
  if (&monitor != registered_ && &monitor != registering_) return;
  monitorsFailed_ = true;
  listener_.changed();
  advance();
}

void BlueZAdapter::succeeded() {
  retryPause_.reset();
  if (std::exchange(refused_, false) || !problem_.empty()) {
    problem_.clear();
    listener_.changed();
  }
}

void BlueZAdapter::failed(const GError* error) {
  GLibOwned<GError> copy(g_error_copy(error));
  g_dbus_error_strip_remote_error(copy.get());
  problem_ = copy->message;
  refused_ = isRefusal(error);
  restart_.cancel();
  retry_.arm(queue_, retryPause_.next(), [this] { advance(); });
  listens_ = false;
  listener_.changed();
}

void BlueZAdapter::setListens(bool listens) {
  if (std::exchange(listens_, listens) != listens) listener_.changed();
}

}  // namespace ks
