#include "BeaconSDK/Platform/Api/CoreLocation.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numbers>

#include "BeaconSDK/Platform/Api/Property.h"

namespace ks {

namespace {

double radians(double degrees) { return degrees * std::numbers::pi / 180; }

std::string coordinateDescription(CLLocationCoordinate2D coordinate) {
  char text[96];
  std::snprintf(text, sizeof text, "<%+.8f,%+.8f>", coordinate.latitude, coordinate.longitude);
  return text;
}

std::optional<std::uint16_t> narrowed(std::int32_t value) {
  if (value < 0 || value > UINT16_MAX) return std::nullopt;
  return static_cast<std::uint16_t>(value);
}

}  // namespace

Metres distanceBetween(CLLocationCoordinate2D a, CLLocationCoordinate2D b) {
  const double sinLatitude = std::sin(radians(b.latitude - a.latitude) / 2);
  const double sinLongitude = std::sin(radians(b.longitude - a.longitude) / 2);
  const double haversine = sinLatitude * sinLatitude + std::cos(radians(a.latitude)) *
                                                           std::cos(radians(b.latitude)) *
                                                           sinLongitude * sinLongitude;
  return {2 * kMeanEarthRadius.value * std::asin(std::sqrt(std::min(1.0, haversine)))};
}

std::string CLLocation::description() const {
  char accuracy[48];
  std::snprintf(accuracy, sizeof accuracy, " +/- %.2fm @ ", horizontalAccuracy.value);
  return coordinateDescription(coordinate) + accuracy + dateDescription(timestamp);
}

const Class CLRegion::kClass{kClassName,
                             nullptr,
                             nullptr,
                             {property("identifier", &CLRegion::identifier_),
                              property("notifyOnEntry", &CLRegion::notifyOnEntry_),
                              property("notifyOnExit", &CLRegion::notifyOnExit_)}};

bool CLRegion::isEqual(const Object* other) const {
  const auto* region = dynamic_cast<const CLRegion*>(other);
  return region && region->identifier_ == identifier_;
}

std::size_t CLRegion::hash() const { return std::hash<std::string>{}(identifier_); }

const Class CLCircularRegion::kClass{kClassName,
                                     &CLRegion::kClass,
                                     makeObject<CLCircularRegion>,
                                     {property("latitude", &CLCircularRegion::latitude_),
                                      property("longitude", &CLCircularRegion::longitude_),
                                      property("radius", &CLCircularRegion::radius_)}};

bool CLCircularRegion::containsCoordinate(CLLocationCoordinate2D coordinate) const {
  return distanceBetween(center(), coordinate) <= radius();
}

std::string CLCircularRegion::description() const {
  char text[48];
  std::snprintf(text, sizeof text, ", radius:%.2fm)", radius_);
  return "CLCircularRegion (identifier:'" + identifier() +
         "', center:" + coordinateDescription(center()) + text;
}

const Class CLBeaconRegion::kClass{
    kClassName,
    &CLRegion::kClass,
    makeObject<CLBeaconRegion>,
    {property("proximityUUID", &CLBeaconRegion::proximityUUID_),
     property("major", &CLBeaconRegion::major_), property("minor", &CLBeaconRegion::minor_),
     property("notifyEntryStateOnDisplay", &CLBeaconRegion::notifyEntryStateOnDisplay_)}};

CLBeaconRegion::CLBeaconRegion(UUID proximityUUID, std::string identifier,
                               std::optional<std::uint16_t> major,
                               std::optional<std::uint16_t> minor)
    : CLRegion(std::move(identifier)),
      proximityUUID_(proximityUUID),
      major_(major ? *major : kAny),
      minor_(minor ? *minor : kAny) {}

std::optional<std::uint16_t> CLBeaconRegion::major() const { return narrowed(major_); }
std::optional<std::uint16_t> CLBeaconRegion::minor() const { return narrowed(minor_); }

bool CLBeaconRegion::matches(UUID uuid, std::uint16_t major, std::uint16_t minor) const {
  return uuid == proximityUUID_ && (major_ == kAny || major_ == major) &&
         (minor_ == kAny || minor_ == minor);
}

std::string CLBeaconRegion::description() const {
  std::string text = "CLBeaconRegion (identifier:'" + identifier() + "', uuid:";
  text += proximityUUID_ ? proximityUUID_->UUIDString() : "(null)";
  text += ", major:" + (major_ == kAny ? "(null)" : std::to_string(major_));
  text += ", minor:" + (minor_ == kAny ? "(null)" : std::to_string(minor_));
  return text + ")";
}

}  // namespace ks
