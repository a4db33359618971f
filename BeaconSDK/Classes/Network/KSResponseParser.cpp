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
#include "BeaconSDK/Classes/Network/PortalDocument.h"
#include "BeaconSDK/Classes/Network/PortalNumber.h"

namespace {

using ks::Dictionary;
using ks::Value;

using ks::PortalObject;

double doubleOf(const PortalObject& item, std::string_view key) {
  return ks::PortalNumber::doubleFromText(item.text(key));
}

float floatOf(const PortalObject& item, std::string_view key) {
  return ks::PortalNumber::floatFromText(item.text(key));
}

std::int32_t integerOf(const PortalObject& item, std::string_view key) {
  return ks::PortalNumber::integerFromText(item.text(key));
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

std::shared_ptr<KSProximitySchedule> scheduleOf(const PortalObject& item) {
  const auto object = item.object("schedule");
  if (!object) return nullptr;
  auto schedule = std::make_shared<KSProximitySchedule>();
  schedule->identifier = object->optionalText("id");
  schedule->name = object->optionalText("name");
  return schedule;
}

/// Null when the item has no content object, or one of an unknown kind.
std::shared_ptr<KSProximityZoneContent> contentOf(const PortalObject& item) {
  const auto object = item.object("content");
  if (!object) return nullptr;
  auto content = KSResponseParser::contentFromType(object->text("type"));
  if (!content) return nullptr;
  content->identifier = object->optionalText("id");
  content->name = object->optionalText("name");
  content->message = object->optionalText("message");
  content->language = object->optionalText("language");
  content->title = object->optionalText("title");
  content->titleImageUrl = object->optionalText("titleImageUrl");
  content->categoryIdentifier = object->optionalText("categoryId");
  content->repeatDelay = floatOf(*object, "repeatDelaySeconds");
  content->dwellingTime = floatOf(*object, "dwellingTimeSeconds");
  content->proximity = KSResponseParser::proximityFromString(object->text("proximity"));
  content->notifyAfterEventsCount = integerOf(*object, "notifyAfterXEvents");
  content->notifyAfterEventsInterval = doubleOf(*object, "maxIntervalSeconds");
  content->eventIsEnter = object->text("notifyOn") == "ENTER";
  content->richMediaUrl = object->optionalText("richMediaUrl");
  content->messageIconUrl = object->optionalText("messageIconUrl");
  if (auto html = std::dynamic_pointer_cast<KSHTMLProximityZoneContent>(content)) {
    html->pageUrl = object->optionalText("pageUrl");
  } else if (auto video = std::dynamic_pointer_cast<KSVideoProximityZoneContent>(content)) {
    video->videoUrl = object->optionalText("videoUrl");
  }
  return content;
}

/// Also logs each element that stands before the first one that is no object.
void logDocument(std::string_view document) {
  const auto parsed = ks::NSJSONSerialization::JSONObjectWithData(document);
  ks::NSLog("%@", parsed ? *parsed : Value());
  const ks::Array* const items = parsed ? parsed->array() : nullptr;
  if (items == nullptr) return;
  for (const Value& item : items->items) {
    const Dictionary* const object = item.dictionary();
    if (object == nullptr) return;
    KSResponseParser::sanitizeDictionary(*object);
  }
}

}  // namespace

KSResponseParser::KSResponseParser()
    : dateFormatter_(
          std::make_unique<ks::NSDateFormatter>(kValidUntilFormat, ks::wireLocale(), "UTC")) {}

KSResponseParser::~KSResponseParser() = default;

std::optional<ks::Error> KSResponseParser::forEachItem(
    std::string_view document, const std::function<void(const PortalObject& item)>& take) {
  if (enableLogging) logDocument(document);
  return ks::readPortalDocument(document, take);
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
    const PortalObject& item) {
  auto category = std::make_shared<KSProximityZoneContentCategory>();
  category->name = item.optionalText("name");
  category->identifier = item.optionalText("id");
  return category;
}

std::shared_ptr<KSLocation> KSResponseParser::convertToLocation(const PortalObject& item) {
  auto location = std::make_shared<KSLocation>();
  location->identifier = item.optionalText("id");
  location->name = item.optionalText("name");
  location->latitude = floatOf(item, "latitude");
  location->longitude = floatOf(item, "longitude");
  location->refreshInterval = doubleOf(item, "refreshIntervalSeconds");
  return location;
}

std::shared_ptr<KSPrivateBeacon> KSResponseParser::convertToPrivateBeacon(
    const PortalObject& item) const {
  auto zone = std::make_shared<KSPrivateBeacon>();
  zone->setIdentifier(item.optionalText("id"));
  if (const auto location = item.object("location")) {
    zone->setLocationIdentifier(location->optionalText("id"));
  }
  zone->setUuid(ks::UUID::fromString(item.text("uuid")));
  zone->setMajor(integerOf(item, "major"));
  zone->setMinor(integerOf(item, "minor"));
  zone->setName(item.optionalText("name"));
  zone->setModel(item.optionalText("model"));
  zone->setManufacturer(item.optionalText("manufacturer"));
  zone->setManufacturerIdentifier(item.optionalText("manufacturerId"));
  zone->setLocationZone(item.optionalText("locationZone"));
  zone->setRefId(item.optionalText("referenceId"));
  zone->setContent(contentOf(item));
  zone->setState(item.contains("content") ? KSPrivateBeaconState::contentFetched
                                          : KSPrivateBeaconState::noContent);
  zone->setValidUntil(dateFormatter_->dateFromString(item.text("validUntil")));
  zone->setSchedule(scheduleOf(item));
  return zone;
}

std::shared_ptr<KSGeofence> KSResponseParser::convertToGeofence(const PortalObject& item) const {
  auto geofence = std::make_shared<KSGeofence>();
  geofence->setName(item.optionalText("name"));
  if (const auto identifier = item.optionalText("id")) {
    const ks::CLLocationCoordinate2D center{doubleOf(item, "latitude"),
                                            doubleOf(item, "longitude")};
    geofence->setMonitoringRegion(std::make_shared<ks::CLCircularRegion>(
        center, ks::Metres{doubleOf(item, "radius")}, *identifier));
  }
  geofence->setValidUntil(dateFormatter_->dateFromString(item.text("validUntil")));
  geofence->setSchedule(scheduleOf(item));
  geofence->setContent(contentOf(item));
  return geofence;
}
