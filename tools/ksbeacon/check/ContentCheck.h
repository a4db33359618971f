#pragma once

#include <boost/json/object.hpp>
#include <functional>
#include <string>

#include "BeaconSDK/Platform/Api/Date.h"
#include "tools/ksbeacon/portal/PortalDocuments.h"

namespace ks::tool {

/// A member as text: numbers may be written either way. Empty when it is missing or of another
/// kind.
std::string textOf(const boost::json::object& object, const char* name);
double numberOf(const boost::json::object& object, const char* name);
/// Null when it is missing or of another kind.
const boost::json::object* objectIn(const boost::json::object& object, const char* name);

/// Told of each finding: the member's name in the zone ("content.proximity") and what is wrong.
using ZoneFindings = std::function<void(const std::string& member, std::string message)>;

/// What keeps the content of a zone from firing, by the library's own rules: counted events,
/// dwelling times, events and proximity. `sharing` is the number of zones with a content of the
/// same identifier: beacons count its events together.
void checkContentRules(portal::DocumentKind kind, const boost::json::object& content,
                       std::size_t sharing, const ZoneFindings& report);

/// What a zone's `validUntil` does at `now`: no date, or one that is over.
void checkValidity(portal::DocumentKind kind, const boost::json::object& zone, Date now,
                   const ZoneFindings& report);

}  // namespace ks::tool
