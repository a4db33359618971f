#include <algorithm>
#include <filesystem>
#include <system_error>

#include "BeaconSDK/Platform/Linux/Bluetooth/BlueZRadio.h"

namespace ks {

namespace {

constexpr const char* kServiceName = "Bluetooth";
constexpr const char* kRestart = "systemctl restart bluetooth";

/// Where distributions keep the daemon's program.
constexpr const char* kPrograms[] = {"/usr/libexec/bluetooth/bluetoothd",
                                     "/usr/lib/bluetooth/bluetoothd", "/usr/sbin/bluetoothd"};

const char* startCommand() {
  const bool isInstalled = std::any_of(std::begin(kPrograms), std::end(kPrograms), [](auto path) {
    std::error_code ignored;
    return std::filesystem::exists(path, ignored);
  });
  return isInstalled ? "systemctl enable --now bluetooth" : "apt install bluez";
}

/// Takes effect at the next log-in.
std::string permitCommand() { return std::string("usermod -aG bluetooth ") + g_get_user_name(); }

}  // namespace

ServiceState BlueZRadio::state() const {
  switch (daemon_) {
    case Daemon::unknown:
      return {kServiceName, false, "the system bus has not answered yet", ""};
    case Daemon::absent:
      return {kServiceName, false, "there is no Bluetooth daemon on the system bus",
              startCommand()};
    case Daemon::gone:
      return {kServiceName, false, "the Bluetooth daemon has gone", startCommand()};
    case Daemon::silent:
      return {kServiceName, false, "the Bluetooth daemon does not answer", kRestart};
    case Daemon::refused:
      return {kServiceName, false, "the system bus does not let this user reach Bluetooth",
              permitCommand()};
    case Daemon::known:
      break;
  }
  if (adapterGrace_.isArmed()) {
    return {kServiceName, false, "the Bluetooth daemon has just started", ""};
  }
  switch (managerState()) {
    case CBManagerState::unsupported:
      return {kServiceName, false, "there is no Bluetooth adapter",
              "plug in an adapter for Bluetooth 4.0 or later"};
    case CBManagerState::poweredOff:
      return {kServiceName, false, "the Bluetooth adapter is off",
              "rfkill unblock bluetooth; bluetoothctl power on"};
    case CBManagerState::unauthorized:
      return {kServiceName, false, "this user may not use the Bluetooth adapter", permitCommand()};
    default:
      return poweredState();
  }
}

/// At least one adapter is on and permitted.
ServiceState BlueZRadio::poweredState() const {
  std::string names;
  std::string problem;
  bool works = false;
  bool monitors = true;
  for (const auto& [path, adapter] : adapters_) {
    if (!adapter->isPowered() || adapter->isRefused()) continue;
    names += (names.empty() ? "" : ", ") + adapter->name();
    works = works || adapter->problem().empty();
    if (!adapter->problem().empty()) problem = adapter->name() + ": " + adapter->problem();
    monitors = monitors && adapter->usesMonitors();
  }
  if (!works) return {kServiceName, false, problem, kRestart};
  if (monitors) return {kServiceName, true, names + " is on and has advertisement monitors", ""};
  return {kServiceName, true,
          names + " is on; without advertisement monitors the scan begins anew each second",
          "sed -i 's/^#*Experimental *=.*/Experimental = true/' /etc/bluetooth/main.conf && "
          "systemctl restart bluetooth"};
}

}  // namespace ks
