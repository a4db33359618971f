#include "BeaconSDK/Classes/Network/KSResponseParser.h"

#include "BeaconSDK/Classes/Beacon/Content/KSFollowTrackProximityZoneContent.h"
#include "BeaconSDK/Classes/Beacon/Content/KSHTMLProximityZoneContent.h"
#include "BeaconSDK/Classes/Beacon/Content/KSProximityZoneContentCategory.h"
#include "BeaconSDK/Classes/Beacon/Content/KSTextPushProximityZoneContent.h"
#include "BeaconSDK/Classes/Beacon/Content/KSVideoProximityZoneContent.h"
#include "BeaconSDK/Classes/Beacon/KSPrivateBeacon.h"
#include "BeaconSDK/Classes/Common/Foundation/NSError+Helpers.h"
#include "BeaconSDK/Classes/Date/NSDateFormatter+Server.h"
#include "BeaconSDK/Classes/Geofence/KSGeofence.h"
#include "BeaconSDK/Classes/Location/KSLocation.h"
#include "BeaconSDK/Classes/Logging/KSLog.h"
#include "BeaconSDK/Classes/Network/NSJSONSerialization.h"
#include "BeaconSDK/Classes/Network/PortalNumber.h"

namespace {

using ks::Dictionary;
using ks::Value;

std::string_view textOf(const Dictionary& item, std::string_view key) {
  const std::string* text = item[key].string();
  return text ? std::string_view(*text) : std::string_view();
}

std::optional<std::string> optionalText(const Dictionary& item, std::string_view key) {
  return item[key].stringValue();
}

double doubleOf(const Dictionary& item, std::string_view key) {
  return ks::PortalNumber::doubleFromText(textOf(item, key));
}

float floatOf(const Dictionary& item, std::string_view key) {
  return ks::PortalNumber::floatFromText(textOf(item, key));
}

std::int32_t integerOf(const Dictionary& item, std::string_view key) {
  return ks::PortalNumber::integerFromText(textOf(item, key));
}

/// What sanitising makes of one value of an object other than null.
Value sanitized(const Value& value) {
  if (value.isNumber()) return value.description();
  if (const Dictionary* nested = value.dictionary()) {
    return KSResponseParser::sanitizeDictionary(*nested);
  }
  if (const ks::Array* list = value.array()) {
    ks::Array copy = *list;
    for (auto& element : copy.items) {
      if (element.dictionary()) element = sanitized(element);
    }
    return copy;
  }
  return value;
}

std::shared_ptr<KSProximitySchedule> scheduleOf(const Dictionary& item) {
  const Dictionary* object = item["schedule"].dictionary();
  if (!object) return nullptr;
  auto schedule = std::make_shared<KSProximitySchedule>();
  schedule->identifier = optionalText(*object, "id");
  schedule->name = optionalText(*object, "name");
  return schedule;
}

/// Null when the item has no content object, or one of an unknown kind.
std::shared_ptr<KSProximityZoneContent> contentOf(const Dictionary& item) {
  const Dictionary* object = item["content"].dictionary();
  if (!object) return nullptr;
  auto content = KSResponseParser::contentFromType(textOf(*object, "type"));
  if (!content) return nullptr;
  content->identifier = optionalText(*object, "id");
  content->name = optionalText(*object, "name");
  content->message = optionalText(*object, "message");
  content->language = optionalText(*object, "language");
  content->title = optionalText(*object, "title");
  content->titleImageUrl = optionalText(*object, "titleImageUrl");
  content->categoryIdentifier = optionalText(*object, "categoryId");
  content->repeatDelay = floatOf(*object, "repeatDelaySeconds");
  content->dwellingTime = floatOf(*object, "dwellingTimeSeconds");
  content->proximity = KSResponseParser::proximityFromString(textOf(*object, "proximity"));
  content->notifyAfterEventsCount = integerOf(*object, "notifyAfterXEvents");
  content->notifyAfterEventsInterval = doubleOf(*object, "maxIntervalSeconds");
  content->eventIsEnter = textOf(*object, "notifyOn") == "ENTER";
  content->richMediaUrl = optionalText(*object, "richMediaUrl");
  content->messageIconUrl = optionalText(*object, "messageIconUrl");
  if (auto html = std::dynamic_pointer_cast<KSHTMLProximityZoneContent>(content)) {
    html->pageUrl = optionalText(*object, "pageUrl");
  } else if (auto video = std::dynamic_pointer_cast<KSVideoProximityZoneContent>(content)) {
    video->videoUrl = optionalText(*object, "videoUrl");
  }
  return content;
}

}  // namespace

KSResponseParser::KSResponseParser()
    : dateFormatter_(
          std::make_unique<ks::NSDateFormatter>(kValidUntilFormat, ks::wireLocale(), "UTC")) {}

KSResponseParser::~KSResponseParser() = default;

std::optional<ks::Error> KSResponseParser::forEachItem(
    std::string_view document, const std::function<void(const ks::Dictionary& item)>& take) {
  const auto parsed = ks::NSJSONSerialization::JSONObjectWithData(document);
  if (enableLogging) ks::NSLog("%@", parsed ? *parsed : Value());
  if (!parsed) return parsed.error();

  const ks::Array* items = parsed->array();
  if (!items) {
    return ks::NSErrorHelpers::errorWithDescription("The portal's document is not a list");
  }
  std::size_t count = 0;
  for (const Value& item : items->items) {
    const Dictionary* object = item.dictionary();
    if (!object) {
      return ks::NSErrorHelpers::errorWithDescription("Element " + std::to_string(count) +
                                                      " of the portal's document is not an object");
    }
    take(sanitizeDictionary(*object));
    ++count;
  }
  return std::nullopt;
}

Dictionary KSResponseParser::sanitizeDictionary(const Dictionary& dictionary) {
  if (enableLogging) ks::NSLog("%@", Value(dictionary));
  Dictionary clean;
  for (const auto& [key, value] : dictionary) {
    if (!value.isNull()) clean.set(key, sanitized(value));
  }
  return clean;
}

std::shared_ptr<KSProximityZoneContent> KSResponseParser::contentFromType(std::string_view type) {
  if (type == "HTML") return std::make_shared<KSHTMLProximityZoneContent>();
  if (type == "VIDEO") return std::make_shared<KSVideoProximityZoneContent>();
  if (type == "PUSH_TEXT") return std::make_shared<KSTextPushProximityZoneContent>();
  if (type == "FOLLOW_TRACK") return std::make_shared<KSFollowTrackProximityZoneContent>();
  return nullptr;
}

std::int64_t KSResponseParser::proximityFromString(std::string_view text) {
  if (text == "IMMEDIATE") return 1;
  if (text == "NEAR") return 2;
  if (text == "FAR") return 3;
  return 0;
}

std::shared_ptr<KSProximityZoneContentCategory> KSResponseParser::convertToCategory(
    const Dictionary& item) {
  auto category = std::make_shared<KSProximityZoneContentCategory>();
  category->name = optionalText(item, "name");
  category->identifier = optionalText(item, "id");
  return category;
}

std::shared_ptr<KSLocation> KSResponseParser::convertToLocation(const Dictionary& item) {
  auto location = std::make_shared<KSLocation>();
  location->identifier = optionalText(item, "id");
  location->name = optionalText(item, "name");
  location->latitude = floatOf(item, "latitude");
  location->longitude = floatOf(item, "longitude");
  location->refreshInterval = doubleOf(item, "refreshIntervalSeconds");
  return location;
}

std::shared_ptr<KSPrivateBeacon> KSResponseParser::convertToPrivateBeacon(
    const Dictionary& item) const {
  auto zone = std::make_shared<KSPrivateBeacon>();
  zone->setIdentifier(optionalText(item, "id"));
  if (const Dictionary* location = item["location"].dictionary()) {
    zone->setLocationIdentifier(optionalText(*location, "id"));
  }
  zone->setUuid(ks::UUID::fromString(textOf(item, "uuid")));
  zone->setMajor(integerOf(item, "major"));
  zone->setMinor(integerOf(item, "minor"));
  zone->setName(optionalText(item, "name"));
  zone->setModel(optionalText(item, "model"));
  zone->setManufacturer(optionalText(item, "manufacturer"));
  zone->setManufacturerIdentifier(optionalText(item, "manufacturerId"));
  zone->setLocationZone(optionalText(item, "locationZone"));
  zone->setRefId(optionalText(item, "referenceId"));
  zone->setContent(contentOf(item));
  zone->setState(item.contains("content") ? KSPrivateBeaconState::contentFetched
                                          : KSPrivateBeaconState::noContent);
  zone->setValidUntil(dateFormatter_->dateFromString(textOf(item, "validUntil")));
  zone->setSchedule(scheduleOf(item));
  return zone;
}

std::shared_ptr<KSGeofence> KSResponseParser::convertToGeofence(const Dictionary& item) const {
  auto geofence = std::make_shared<KSGeofence>();
  geofence->setName(optionalText(item, "name"));
  if (const auto identifier = optionalText(item, "id")) {
    const ks::CLLocationCoordinate2D center{doubleOf(item, "latitude"),
                                            doubleOf(item, "longitude")};
    geofence->setMonitoringRegion(std::make_shared<ks::CLCircularRegion>(
        center, ks::Metres{doubleOf(item, "radius")}, *identifier));
  }
  geofence->setValidUntil(dateFormatter_->dateFromString(textOf(item, "validUntil")));
  geofence->setSchedule(scheduleOf(item));
  geofence->setContent(contentOf(item));
  return geofence;
}
