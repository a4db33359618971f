#include "tools/ksbeacon/explanation/DocumentedZones.h"

#include <fmt/format.h>

#include <boost/json/object.hpp>
#include <utility>

#include "BeaconSDK/Classes/Beacon/Content/KSProximityZoneContent.h"
#include "BeaconSDK/Classes/Beacon/KSPrivateBeacon.h"
#include "BeaconSDK/Platform/Api/Ascii.h"
#include "tools/ksbeacon/portal/PortalDocuments.h"

namespace ks::tool {

namespace {

namespace json = boost::json;

std::string textOf(const json::object& object, const char* name) {
  const json::value* const value = object.if_contains(name);
  if (value == nullptr) return "";
  if (value->is_string()) return std::string(value->get_string());
  return value->is_int64() ? std::to_string(value->get_int64()) : "";
}

}  // namespace

std::vector<DocumentedZone> documentedZones(const std::filesystem::path& folder) {
  std::vector<DocumentedZone> zones;
  for (const auto kind : {portal::DocumentKind::beacons, portal::DocumentKind::geofences}) {
    const portal::PortalDocument document = portal::readDocument(kind, folder);
    if (!document.problems.empty()) continue;
    for (const json::value& item : document.items) {
      const json::object& zone = item.get_object();
      DocumentedZone made{textOf(zone, "id"), "", ""};
      const json::value* const content = zone.if_contains("content");
      if (content != nullptr && content->is_object()) {
        made.content = textOf(content->get_object(), "id");
      }
      if (kind == portal::DocumentKind::beacons) {
        made.beacon = fmt::format("{}:{}:{}", asciiUpperCased(textOf(zone, "uuid")),
                                  textOf(zone, "major"), textOf(zone, "minor"));
      }
      zones.push_back(std::move(made));
    }
  }
  return zones;
}

KnownZones heldZones(const std::vector<std::shared_ptr<KSProximityZone>>& zones) {
  KnownZones known;
  for (const auto& zone : zones) {
    DocumentedZone made{zone->identifier().value_or(""), "", ""};
    if (zone->content()) made.content = zone->content()->identifier.value_or("");
    const auto beacon = std::dynamic_pointer_cast<KSPrivateBeacon>(zone);
    if (beacon && beacon->uuid()) {
      made.beacon =
          fmt::format("{}:{}:{}", beacon->uuid()->UUIDString(), beacon->major(), beacon->minor());
    }
    known.zones.push_back(std::move(made));
  }
  return known;
}

}  // namespace ks::tool
