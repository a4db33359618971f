#include "tools/ksbeacon/device/Services.h"

#include <algorithm>
#include <utility>

#include "BeaconSDK/Platform/Api/Ascii.h"
#include "BeaconSDK/Platform/Linux/Machine/LinuxFolders.h"

namespace ks::tool {

namespace {

constexpr const char* kFolders = "Folders";
constexpr const char* kBluetooth = "Bluetooth";
constexpr const char* kPositions = "Positions";
constexpr const char* kNotifications = "Notifications";

bool isUsable(const std::vector<ServiceState>& states, const char* name) {
  const auto found = std::ranges::find(states, name, &ServiceState::name);
  return found != states.end() && found->usable;
}

}  // namespace

LinuxPlatformOptions MachineView::optionsIn(const TemporaryFolder& folder) {
  LinuxPlatformOptions options;
  options.folders =
      LinuxFolders{{folder.path() / "caches", folder.path() / "documents", folder.path() / "tmp"},
                   folder.path() / "state"};
  // Whoever looks is told through the states.
  options.logDescriptor = -1;
  return options;
}

std::vector<ServiceState> MachineView::services() const {
  std::vector<ServiceState> states = platform_.serviceStates();
  const std::string bundle = LinuxPlatformOptions().bundleIdentifier;
  const ServiceState folders = stateOf(PrivateFolders(xdgFolders(bundle)));
  std::ranges::replace_if(
      states, [](const ServiceState& state) { return state.name == kFolders; }, folders);
  for (const char* const name : {kBluetooth, kPositions, kNotifications}) {
    if (std::ranges::find(states, name, &ServiceState::name) != states.end()) continue;
    states.push_back({name, false, "this build leaves it out", ""});
  }
  return states;
}

ServiceState MachineView::bluetooth() const {
  for (const ServiceState& state : services()) {
    if (state.name == kBluetooth) return state;
  }
  return {};
}

std::string reasonFor(const ServiceState& state) {
  std::string reason;
  bool startsWord = false;
  for (const char letter : state.name) {
    if (letter == ' ') {
      startsWord = true;
    } else {
      reason += std::exchange(startsWord, false) ? asciiUpperCase(letter) : asciiLowerCase(letter);
    }
  }
  return reason;
}

std::string complaint(const ServiceState& state) {
  return state.name + ": " + state.detail + (state.mend.empty() ? "" : " (" + state.mend + ")");
}

bool couldRun(const std::vector<ServiceState>& states) {
  return isUsable(states, kFolders) &&
         (isUsable(states, kBluetooth) || isUsable(states, kPositions));
}

}  // namespace ks::tool
