#include "tools/ksbeacon/scenario/Scenario.h"

namespace ks::tool {

std::string deviceNames(const Scenario& scenario) {
  std::string names;
  for (const Scenario& each : scenario.devices) names += (names.empty() ? "" : ", ") + each.device;
  return names;
}

const std::vector<std::string>& eventNames() {
  static const std::vector<std::string> kNames = {
      "becomeActive",   "resignActive",    "backgroundFetch", "backgroundTransfer",
      "setPermission",  "setTag",          "deleteTag",       "clearTags",
      "enableCategory", "disableCategory", "restart",         "moveClock",
      "retry",          "reset",           "openContent",     "showNotification",
      "setClock",       "setTimeZone",     "setBluetooth",    "setNetwork",
      "setDocuments",   "setBattery",      "reloadBeacons",   "look"};
  return kNames;
}

const std::vector<std::string>& refusalNames() {
  static const std::vector<std::string> kNames = {
      "proximity", "eventCounter", "repeatDelay", "onceOnly", "category", "dwelling", "otherEvent"};
  return kNames;
}

const std::vector<std::string>& statisticNames() {
  static const std::vector<std::string> kNames = {
      "beacons/enter",   "beacons/exit",   "beacons/notification",   "beacons/content",
      "geofences/enter", "geofences/exit", "geofences/notification", "geofences/content"};
  return kNames;
}

const std::vector<std::string>& engineStateNames() {
  static const std::vector<std::string> kNames = {"running", "starting", "stopped"};
  return kNames;
}

const std::vector<std::string>& permissionNames() {
  static const std::vector<std::string> kNames = {"notDetermined", "restricted", "denied", "always",
                                                  "whenInUse"};
  return kNames;
}

std::string permissionName(CLAuthorizationStatus status) {
  return permissionNames().at(static_cast<std::size_t>(status));
}

}  // namespace ks::tool
