#include "BeaconSDK/Platform/Linux/Bluetooth/BlueZRadio.h"

#include <algorithm>
#include <utility>

#include "BeaconSDK/Platform/Linux/Bluetooth/BlueZDeviceProperties.h"
#include "BeaconSDK/Platform/Linux/Bluetooth/BlueZNames.h"
#include "BeaconSDK/Platform/Linux/Loop/GLibOwned.h"

namespace ks {

namespace {

using Variant = GLibOwned<GVariant>;

/// The daemon takes its name before it has found the adapters.
constexpr Seconds kAdapterGrace{3};
/// More adapters than this are left out: nobody has them.
constexpr std::size_t kMostAdapters = 16;
/// "/org/bluez/hci0/dev_AA_BB_CC_DD_EE_FF" has 37.
constexpr std::size_t kLongestPath = 127;

Variant lookup(GVariant* dictionary, const char* key, const char* type) {
  return Variant(g_variant_lookup_value(dictionary, key, G_VARIANT_TYPE(type)));
}

}  // namespace

BlueZRadio::BlueZRadio(const LinuxServiceContext& context)
    : queue_(context.mainQueue),
      console_(context.console),
      location_(context.location),
      scanning_(context.mainQueue, [this](bool) { wishesChanged(); }),
      service_(bluez::kService, context.mainQueue,
               [this](bool present) { presenceChanged(present); }) {
  location_.setBeaconScanningPaused(true);
  service_.onSignals({"/", bluez::kObjectManager, "InterfacesAdded", "", "(oa{sa{sv}})"},
                     [this](std::string_view, GVariant* parameters) {
                       const gchar* path = nullptr;
                       GVariant* interfaces = nullptr;
                       g_variant_get(parameters, "(&o@a{sa{sv}})", &path, &interfaces);
                       const Variant owned(interfaces);
                       objectAppeared(path, interfaces);
                     });
  service_.onSignals({"/", bluez::kObjectManager, "InterfacesRemoved", "", "(oas)"},
                     [this](std::string_view, GVariant* parameters) {
                       const gchar* path = nullptr;
                       GVariant* interfaces = nullptr;
                       g_variant_get(parameters, "(&o@as)", &path, &interfaces);
                       const Variant owned(interfaces);
                       objectDisappeared(path, interfaces);
                     });
  service_.onSignals({"", bluez::kProperties, "PropertiesChanged", bluez::kAdapter, "(sa{sv}as)"},
                     [this](std::string_view path, GVariant* parameters) {
                       const Variant properties(g_variant_get_child_value(parameters, 1));
                       adapterChanged(path, properties.get());
                     });
}

void BlueZRadio::presenceChanged(bool present) {
  retry_.cancel();
  retryPause_.reset();
  if (present) {
    adapterGrace_.arm(queue_, kAdapterGrace, [this] { update(); });
    readObjects();
    return;
  }
  adapterGrace_.cancel();
  adapters_.clear();
  devices_.clear();
  daemon_ = wasKnown_ ? Daemon::gone : Daemon::absent;
  update();
}

void BlueZRadio::readObjects() {
  if (!service_.isPresent()) return;
  if (std::exchange(reading_, true)) {
    readAgain_ = true;
    return;
  }
  service_.call({.path = "/",
                 .interface = bluez::kObjectManager,
                 .method = "GetManagedObjects",
                 .replyType = "(a{oa{sa{sv}}})"},
                [this](GVariant* reply, GUnixFDList*, const GError* error) {
                  reading_ = false;
                  objectsRead(reply, error);
                  if (std::exchange(readAgain_, false)) readObjects();
                });
}

void BlueZRadio::objectsRead(GVariant* reply, const GError* error) {
  if (!service_.isPresent()) return;
  if (reply == nullptr) {
    const bool refused = g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_ACCESS_DENIED) != FALSE;
    daemon_ = refused ? Daemon::refused : Daemon::silent;
    retry_.arm(queue_, retryPause_.next(), [this] { readObjects(); });
    update();
    return;
  }
  retryPause_.reset();
  daemon_ = Daemon::known;
  wasKnown_ = true;
  const Variant objects(g_variant_get_child_value(reply, 0));
  GVariantIter each;
  g_variant_iter_init(&each, objects.get());
  const gchar* path = nullptr;
  GVariant* interfaces = nullptr;
  while (g_variant_iter_next(&each, "{&o@a{sa{sv}}}", &path, &interfaces) != FALSE) {
    const Variant owned(interfaces);
    if (const auto adapter = lookup(interfaces, bluez::kAdapter, "a{sv}")) {
      objectAppeared(path, interfaces);
    } else if (const auto device = lookup(interfaces, bluez::kDevice, "a{sv}")) {
      // What was heard before is no news, but it is not told again.
      if (deviceSignals_ == 0 || std::string_view(path).size() > kLongestPath) continue;
      applyDeviceProperties(device.get(), devices_.heard(path));
    }
  }
  update();
}

void BlueZRadio::objectAppeared(std::string_view path, GVariant* interfaces) {
  if (const auto device = lookup(interfaces, bluez::kDevice, "a{sv}")) {
    if (deviceSignals_ != 0) deviceChanged(path, device.get(), nullptr);
    return;
  }
  // Before the first answer nothing is known of the rest of the adapter.
  if (daemon_ != Daemon::known) return;
  if (const auto properties = lookup(interfaces, bluez::kAdapter, "a{sv}")) {
    if (addAdapter(path) == nullptr) return;
    adapterChanged(path, properties.get());
  }
  if (const auto manager = lookup(interfaces, bluez::kMonitorManager, "a{sv}")) {
    if (auto* const adapter = adapterAt(path)) adapter->setHasMonitors(true);
  }
  update();
}

void BlueZRadio::objectDisappeared(std::string_view path, GVariant* interfaces) {
  GVariantIter each;
  g_variant_iter_init(&each, interfaces);
  const gchar* text = nullptr;
  while (g_variant_iter_next(&each, "&s", &text) != FALSE) {
    const std::string_view interface(text);
    if (interface == bluez::kDevice) devices_.forget(path);
    const auto adapter = adapters_.find(path);
    if (adapter == adapters_.end()) continue;
    if (interface == bluez::kMonitorManager) adapter->second->setHasMonitors(false);
    if (interface == bluez::kAdapter) {
      adapters_.erase(adapter);
      update();
    }
  }
}

BlueZAdapter* BlueZRadio::adapterAt(std::string_view path) {
  const auto adapter = adapters_.find(path);
  return adapter == adapters_.end() ? nullptr : adapter->second.get();
}

BlueZAdapter* BlueZRadio::addAdapter(std::string_view path) {
  if (auto* const known = adapterAt(path)) return known;
  if (adapters_.size() == kMostAdapters || path.size() > kLongestPath) return nullptr;
  const auto added = std::make_shared<BlueZAdapter>(
      service_, queue_, std::string(path),
      BlueZAdapter::Listener{[this](std::string_view device) { deviceFound(device); },
                             [this] { update(); }});
  adapters_.emplace(path, added);
  adapterGrace_.cancel();
  added->setListening(listening_);
  return added.get();
}

void BlueZRadio::adapterChanged(std::string_view path, GVariant* properties) {
  auto* const adapter = adapterAt(path);
  gboolean powered = FALSE;
  if (adapter == nullptr || g_variant_lookup(properties, "Powered", "b", &powered) == FALSE) return;
  adapter->setPowered(powered != FALSE);
}

void BlueZRadio::deviceChanged(std::string_view path, GVariant* properties, GVariant* dropped) {
  if (path.size() > kLongestPath) return;
  Advertisement& device = devices_.heard(path);
  if (dropped != nullptr) dropDeviceProperties(dropped, device);
  if (!applyDeviceProperties(properties, device)) return;
  if (auto* const adapter = adapterAt(path.substr(0, path.rfind('/')))) adapter->heard();
  report(device);
}

void BlueZRadio::deviceFound(std::string_view path) {
  // One that is not known yet is just about to be told.
  if (const auto* const device = devices_.find(path)) report(*device);
}

void BlueZRadio::report(const Advertisement& advertisement) {
  location_.handleAdvertisement(advertisement);
  scanning_.handleAdvertisement(advertisement);
}

void BlueZRadio::locationDemandChanged(const LocationDemand& demand) {
  beaconsWanted_ = demand.beaconScan == LocationDemand::BeaconScan::monitoring;
  everythingWanted_ = demand.beaconScan == LocationDemand::BeaconScan::ranging;
  wishesChanged();
}

void BlueZRadio::wishesChanged() {
  const auto wanted = everythingWanted_ || scanning_.isScanWanted() ? RadioListening::everything
                      : beaconsWanted_                              ? RadioListening::beacons
                                                                    : RadioListening::none;
  if (std::exchange(listening_, wanted) == wanted) return;
  followDevices(wanted != RadioListening::none);
  for (const auto& [path, adapter] : adapters_) adapter->setListening(wanted);
  update();
}

void BlueZRadio::followDevices(bool follow) {
  if (follow == (deviceSignals_ != 0)) return;
  if (!follow) {
    service_.forgetSignals(std::exchange(deviceSignals_, 0));
    devices_.clear();
    return;
  }
  deviceSignals_ = service_.onSignals(
      {"", bluez::kProperties, "PropertiesChanged", bluez::kDevice, "(sa{sv}as)"},
      [this](std::string_view path, GVariant* parameters) {
        const Variant properties(g_variant_get_child_value(parameters, 1));
        const Variant dropped(g_variant_get_child_value(parameters, 2));
        deviceChanged(path, properties.get(), dropped.get());
      });
  readObjects();
}

bool BlueZRadio::anyAdapter(bool (*property)(const BlueZAdapter&)) const {
  return std::any_of(adapters_.begin(), adapters_.end(),
                     [&](const auto& entry) { return property(*entry.second); });
}

CBManagerState BlueZRadio::managerState() const {
  switch (daemon_) {
    case Daemon::unknown:
    case Daemon::silent:
      return CBManagerState::unknown;
    case Daemon::absent:
      return CBManagerState::unsupported;
    case Daemon::gone:
      return CBManagerState::resetting;
    case Daemon::refused:
      return CBManagerState::unauthorized;
    case Daemon::known:
      break;
  }
  if (adapters_.empty() && adapterGrace_.isArmed()) return scanning_.state();
  if (adapters_.empty()) return CBManagerState::unsupported;
  if (!anyAdapter([](const BlueZAdapter& adapter) { return adapter.isPowered(); })) {
    return CBManagerState::poweredOff;
  }
  const bool permitted = anyAdapter(
      [](const BlueZAdapter& adapter) { return adapter.isPowered() && !adapter.isRefused(); });
  return permitted ? CBManagerState::poweredOn : CBManagerState::unauthorized;
}

/// Tells everybody how the radio stands now.
void BlueZRadio::update() {
  const CBManagerState now = managerState();
  scanning_.setState(now);
  location_.setBeaconScanningAvailable(now != CBManagerState::unsupported &&
                                       now != CBManagerState::unauthorized);
  location_.setBeaconScanningPaused(
      !anyAdapter([](const BlueZAdapter& adapter) { return adapter.isListening(); }));
  auto state = this->state();
  if (adapterGrace_.isArmed() || daemon_ == Daemon::unknown) return;
  const bool worse = !state.usable && state != told_;
  const bool better = state.usable && !told_.usable && !told_.name.empty();
  if (worse) console_.log(state.name + ": " + state.detail);
  if (better) console_.log(state.name + ": usable again");
  told_ = std::move(state);
}

std::unique_ptr<CBCentralManager> BlueZRadio::makeCentralManager(
    CBCentralManagerDelegate& delegate) {
  return scanning_.makeCentralManager(delegate);
}

}  // namespace ks
