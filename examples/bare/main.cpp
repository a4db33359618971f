// A program with a plain GLib main loop: says what the library announces, has it shown as a
// notification, and reports what the user opens. Ends on SIGINT and SIGTERM.
#include <glib-unix.h>

#include <csignal>
#include <iostream>
#include <memory>

#include "BeaconSDK/KSBeaconSDK.h"
#include "BeaconSDK/Platform/Linux/LinuxApplication.h"
#include "BeaconSDK/Platform/Linux/LinuxPlatform.h"
#include "BeaconSDK/Platform/Linux/Notifications/LinuxNotificationCenter.h"

namespace {

void printStates(const ks::LinuxPlatform& device) {
  for (const ks::ServiceState& state : device.serviceStates()) {
    std::cout << state.name << ": " << state.detail;
    if (!state.mend.empty()) std::cout << " (try: " << state.mend << ')';
    std::cout << std::endl;
  }
}

void opened(KSProximityManager& manager, const ks::Dictionary& userInfo) {
  const auto zone = manager.proximityZoneForIdentifier(
      userInfo["beaconIdentifier"].stringValue().value_or(""),
      static_cast<KSContentDownloadType>(userInfo["contentType"].integerValue()));
  if (!zone) return;
  std::cout << "opened: " << zone->name().value_or("") << std::endl;
  manager.incrementLoyaltyForProximityZone(zone);
}

gboolean quit(gpointer loop) {
  g_main_loop_quit(static_cast<GMainLoop*>(loop));
  return G_SOURCE_CONTINUE;
}

}  // namespace

int main(int argc, char** argv) {
  const ks::NSURL portal{argc > 1 ? argv[1] : "http://127.0.0.1:8080/app"};
  ks::LinuxPlatformOptions options;
  options.applicationName = "bare";
  options.bundleIdentifier = "org.ksbeacon.examples.bare";
  const auto device = std::make_shared<ks::LinuxPlatform>(options);
  ks::Platform::install(device);
  GMainLoop* const loop = g_main_loop_new(nullptr, FALSE);
  g_unix_signal_add(SIGINT, quit, loop);
  g_unix_signal_add(SIGTERM, quit, loop);

  auto manager = KSProximityManager::initWithUsername("demo", "demo", portal, {"en", "US"});
  if (!manager) return 1;
  auto observation = device->notificationCenter().addObserver(
      KSProximityManagerTriggerContentNotification, [&](const ks::NSNotification& notification) {
        const auto zone = KSProximityManager::proximityZoneFromNotification(notification);
        if (!zone || !zone->content()) return;
        std::cout << "content: " << zone->content()->message.value_or("") << std::endl;
        manager->showNotificationForProximityZone(zone);
      });
  if (auto* const notifications = device->linuxNotificationCenter()) {
    notifications->setResponseHandler([&](const ks::UNNotificationResponse& response) {
      opened(*manager, response.request.content.userInfo);
    });
  }
  manager->start([](const std::optional<ks::Error>& error) {
    std::cout << (error ? "not started: " + error->localizedDescription() : "running") << std::endl;
  });
  device->linuxApplication().becomeActive();
  // The services answer within this time, or not at all.
  device->mainQueue().after(ks::Seconds{1}, [&] { printStates(*device); });
  g_main_loop_run(loop);

  // Whatever calls back goes before what it uses; the platform is the last.
  observation.end();
  manager.reset();
  g_main_loop_unref(loop);
  ks::Platform::install(nullptr);
  std::cout << "ended" << std::endl;
}
