#pragma once

#include "BeaconSDK/Classes/Beacon/Content/KSProximityZoneContent.h"
#include "BeaconSDK/Platform/Api/Value.h"

namespace ks::tool {

/// What the content shows, for the member "shows" of events: "type" ("text", "page", "video",
/// "track"), and as far as the portal gives them "title", "message", "language", and the URLs
/// "page", "video", "media", "icon", "titleImage".
Dictionary contentDetails(const KSProximityZoneContent& content);

}  // namespace ks::tool
