#include "tools/ksbeacon/timeline/ContentDetails.h"

#include <optional>
#include <string>

#include "BeaconSDK/Classes/Beacon/Content/KSHTMLProximityZoneContent.h"
#include "BeaconSDK/Classes/Beacon/Content/KSVideoProximityZoneContent.h"

namespace ks::tool {

namespace {

const char* typeName(KSProximityZoneType type) {
  switch (type) {
    case KSProximityZoneType::textPush:
      return "text";
    case KSProximityZoneType::html:
      return "page";
    case KSProximityZoneType::video:
      return "video";
    case KSProximityZoneType::followTrack:
      return "track";
    default:
      return "unknown";
  }
}

}  // namespace

Dictionary contentDetails(const KSProximityZoneContent& content) {
  Dictionary details{{"type", typeName(content.type())}};
  const auto add = [&](const char* name, const std::optional<std::string>& text) {
    if (text && !text->empty()) details.set(name, *text);
  };
  add("title", content.title);
  add("message", content.message);
  add("language", content.language);
  if (const auto* page = dynamic_cast<const KSHTMLProximityZoneContent*>(&content)) {
    add("page", page->pageUrl);
  }
  if (const auto* video = dynamic_cast<const KSVideoProximityZoneContent*>(&content)) {
    add("video", video->videoUrl);
  }
  add("media", content.richMediaUrl);
  add("icon", content.messageIconUrl);
  add("titleImage", content.titleImageUrl);
  return details;
}

}  // namespace ks::tool
