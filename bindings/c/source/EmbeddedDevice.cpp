#include "BeaconSDK/Platform/Common/ScheduledNotificationCenter.h"
#include "BeaconSDK/Platform/Embedded/EmbeddedPlatform.h"
#include "bindings/c/source/Application.h"
#include "bindings/c/source/Device.h"

namespace {

ks_demand demandFrom(const ks::EmbeddedDemand& wanted) {
  ks_demand demand{};
  demand.size = sizeof(demand);
  demand.advertisements = static_cast<std::uint32_t>(wanted.location.beaconScan);
  if (wanted.peripherals) demand.advertisements = 2;
  const auto& accuracy = wanted.location.positionAccuracy;
  demand.position_accuracy = accuracy ? accuracy->value : -1;
  demand.position_interval = wanted.location.positionInterval.count();
  return demand;
}

class EmbeddedDevice : public ks_device {
 public:
  EmbeddedDevice(const ks_application& application, const ks_callbacks* callbacks,
                 const std::string& folder, const std::string& timeZone)
      : ks_device(application, callbacks), platform_(options(application, folder, timeZone)) {
    open(platform_, platform_.location().engine(),
         ks::EmbeddedPlatformOptions::inFolder(folder).state);
    platform_.location().setDemandHandler(
        [this](const ks::EmbeddedDemand& demand) { tellDemand(demandFrom(demand)); });
    platform_.scheduledNotificationCenter().setListener(
        [this](const auto& shown) { ks_device::shown(shown.request.content); });
    platform_.embeddedApplication().setPresenter(
        [this](const ks::UILocalNotification& alert) { alerted(alert.alertBody); });
  }
  ~EmbeddedDevice() override { close(); }

  int descriptor() override { return platform_.descriptor(); }
  void setActive(bool active) override {
    auto& application = platform_.embeddedApplication();
    active ? application.becomeActive() : application.resignActive();
  }
  ks::EmbeddedPlatform& embedded() override { return platform_; }

 private:
  ks::EmbeddedPlatformOptions options(const ks_application& application, const std::string& folder,
                                      const std::string& timeZone) {
    ks::EmbeddedPlatformOptions options;
    options.folders = ks::EmbeddedPlatformOptions::inFolder(folder);
    options.bundleIdentifier = application.bundle_identifier;
    if (application.version != nullptr) options.version = application.version;
    options.locale = ks::capi::localeOf(application, options.locale);
    options.timeZoneName = timeZone;
    options.additionalCertificateAuthorities =
        ks::capi::optional(application.certificate_authorities);
    options.httpObserver = transferObserver();
    return options;
  }
  bool runTurn(ks::Seconds timeout) override { return platform_.runOnce(timeout); }

  ks::EmbeddedPlatform platform_;
};

template <class Feed>
ks_status feed(ks_device* device, Feed&& input) noexcept {
  return ks::capi::guarded([&] {
    if (device == nullptr) throw ks::capi::Failure(KS_ERROR_ARGUMENT, "device is null");
    device->checkThread();
    input(device->embedded());
  });
}

std::span<const std::uint8_t> bytesFrom(const uint8_t* bytes, size_t count) {
  if (bytes == nullptr && count > 0) {
    throw ks::capi::Failure(KS_ERROR_ARGUMENT, "the bytes are null");
  }
  return {bytes, count};
}

}  // namespace

ks_status ks_create_embedded(const ks_application* application, const ks_callbacks* callbacks,
                             const char* folder, const char* time_zone, ks_device** device) {
  return ks::capi::guarded([&] {
    if (device == nullptr) throw ks::capi::Failure(KS_ERROR_ARGUMENT, "device is null");
    *device = nullptr;
    *device = new EmbeddedDevice(ks::capi::checkedApplication(application), callbacks,
                                 ks::capi::required(folder, "folder"),
                                 ks::capi::optional(time_zone, "UTC"));
  });
}

ks_status ks_advertisement(ks_device* device, const char* address, const uint8_t* elements,
                           size_t count, double rssi) {
  return feed(device, [&](ks::EmbeddedPlatform& platform) {
    platform.handleAdvertisement(ks::capi::required(address, "address"), bytesFrom(elements, count),
                                 ks::Dbm{rssi});
  });
}

ks_status ks_manufacturer_data(ks_device* device, const char* address, uint16_t company,
                               const uint8_t* bytes, size_t count, double rssi) {
  return feed(device, [&](ks::EmbeddedPlatform& platform) {
    const auto data = bytesFrom(bytes, count);
    platform.handleManufacturerData(ks::capi::required(address, "address"), company,
                                    ks::Data(data.begin(), data.end()), ks::Dbm{rssi});
  });
}

ks_status ks_position(ks_device* device, double latitude, double longitude, double accuracy) {
  return feed(device, [&](ks::EmbeddedPlatform& platform) {
    platform.handleFix({{latitude, longitude}, ks::Metres{accuracy}, platform.clock().now()});
  });
}

ks_status ks_position_lost(ks_device* device) {
  return feed(device, [](ks::EmbeddedPlatform& platform) { platform.handlePositionFailure(); });
}

ks_status ks_set_bluetooth(ks_device* device, int32_t powered) {
  return feed(device, [&](ks::EmbeddedPlatform& platform) {
    platform.setBluetoothState(powered != 0 ? ks::CBManagerState::poweredOn
                                            : ks::CBManagerState::poweredOff);
  });
}

ks_status ks_set_permission(ks_device* device, int32_t permission) {
  return feed(device, [&](ks::EmbeddedPlatform& platform) {
    constexpr int32_t kWhenInUse = 4;
    if (permission < 0 || permission > kWhenInUse) {
      throw ks::capi::Failure(KS_ERROR_ARGUMENT, "a permission is a number from 0 to 4");
    }
    platform.setAuthorizationStatus(static_cast<ks::CLAuthorizationStatus>(permission));
  });
}
