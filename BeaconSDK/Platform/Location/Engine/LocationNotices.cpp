#include "BeaconSDK/Platform/Location/Engine/LocationNotices.h"

#include <cstdio>

#include "BeaconSDK/Platform/Location/Radio/Proximity.h"

namespace ks {

namespace {

std::string nameOf(const BeaconFrame& frame) {
  return frame.proximityUUID.UUIDString() + ":" + std::to_string(frame.major) + ":" +
         std::to_string(frame.minor);
}

std::string decibels(Dbm power) { return std::to_string(static_cast<int>(power.value)) + " dBm"; }

std::string soFar(std::uint64_t count, const char* what) {
  return " (" + std::to_string(count) + " " + what + (count == 1 ? "" : "s") + " so far)";
}

}  // namespace

bool isWorthTelling(std::uint64_t count) {
  while (count >= 10 && count % 10 == 0) count /= 10;
  return count == 1;
}

std::string tooSmallText(const CLCircularRegion& circle, Metres uncertainty) {
  char sizes[96];
  std::snprintf(sizes, sizeof sizes,
                " of %.0f m is smaller than the uncertainty of positions there, %.0f m",
                circle.radius().value, uncertainty.value);
  return "The circle '" + circle.identifier() + "'" + sizes + ": it cannot be entered";
}

std::string replacedPowerText(const BeaconFrame& frame, std::uint64_t count) {
  return "Beacon " + nameOf(frame) + " claims " + decibels(frame.measuredPower) +
         " at 1 m, which no beacon has: " + decibels(kUsualMeasuredPower) + " stands in" +
         soFar(count, "packet");
}

std::string sharedIdentityText(const BeaconFrame& frame) {
  return "Beacon " + nameOf(frame) + " is sent by two senders: its distance means nothing";
}

std::string untrackedText(const BeaconFrame& frame, std::uint64_t count) {
  return "Too many beacons of " + frame.proximityUUID.UUIDString() + ": " + nameOf(frame) +
         " is not ranged" + soFar(count, "packet");
}

std::string failedSaveText(std::uint64_t count) {
  return "The monitored regions could not be saved" + soFar(count, "attempt");
}

}  // namespace ks
