#include "BeaconSDK/Platform/Linux/LinuxApplication.h"
#include "BeaconSDK/Platform/Linux/LinuxPlatform.h"
#include "BeaconSDK/Platform/Linux/Loop/MainLoop.h"
#include "BeaconSDK/Platform/Linux/Notifications/LinuxNotificationCenter.h"
#include "bindings/c/source/Application.h"
#include "bindings/c/source/Device.h"

namespace {

class LinuxDevice : public ks_device {
 public:
  LinuxDevice(const ks_application& application, const ks_callbacks* callbacks)
      : ks_device(application, callbacks), platform_(options(application)) {
    open(platform_, platform_.locationEngine(),
         ks::xdgFolders(application.bundle_identifier).state);
    auto* const center = platform_.linuxNotificationCenter();
    if (center == nullptr) return;
    center->setDeliveryHandler(
        [this](const ks::UNNotificationRequest& request) { shown(request.content); });
    center->setResponseHandler([this](const ks::UNNotificationResponse& response) {
      if (library().manager() == nullptr) return;
      call("openNotification", {{"userInfo", response.request.content.userInfo}});
    });
  }
  ~LinuxDevice() override { close(); }

  void setActive(bool active) override {
    auto& application = platform_.linuxApplication();
    active ? application.becomeActive() : application.resignActive();
  }

 private:
  ks::LinuxPlatformOptions options(const ks_application& application) {
    ks::LinuxPlatformOptions options;
    options.bundleIdentifier = application.bundle_identifier;
    options.applicationName = ks::capi::optional(application.name, application.bundle_identifier);
    if (application.version != nullptr) options.version = application.version;
    if (application.language != nullptr) options.locale = ks::capi::localeOf(application, {});
    options.additionalCertificateAuthorities =
        ks::capi::optional(application.certificate_authorities);
    options.httpObserver = transferObserver();
    // The trace reaches the host as events.
    options.logDescriptor = -1;
    return options;
  }
  bool runTurn(ks::Seconds timeout) override { return ks::MainLoop::runOnce(timeout); }

  ks::LinuxPlatform platform_;
};

}  // namespace

ks_status ks_create_linux(const ks_application* application, const ks_callbacks* callbacks,
                          ks_device** device) {
  return ks::capi::guarded([&] {
    if (device == nullptr) throw ks::capi::Failure(KS_ERROR_ARGUMENT, "device is null");
    *device = nullptr;
    *device = new LinuxDevice(ks::capi::checkedApplication(application), callbacks);
  });
}
