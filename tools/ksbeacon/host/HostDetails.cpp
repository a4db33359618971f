#include "tools/ksbeacon/host/HostDetails.h"

#include <utility>

namespace ks::tool {

namespace {

Array texts(const std::vector<std::string>& list) {
  return Array(std::vector<Value>(list.begin(), list.end()));
}

const std::vector<Value>& itemsIn(const Dictionary& host, const char* name) {
  static const std::vector<Value> kNone;
  return host[name].array() != nullptr ? host[name].array()->items : kNone;
}

std::vector<std::string> textsIn(const Dictionary& host, const char* name) {
  std::vector<std::string> list;
  for (const Value& item : itemsIn(host, name)) list.push_back(item.stringValue().value_or(""));
  return list;
}

std::string textIn(const Dictionary& host, const char* name) {
  return host[name].stringValue().value_or("");
}

}  // namespace

Dictionary hostDetails(const LibraryHost::Options& library,
                       const TimelineRecorder::Options& timeline) {
  std::vector<Value> refinements;
  for (const auto& [name, member] : Refinements::named()) {
    if (library.refinements.*member) refinements.emplace_back(name);
  }
  Dictionary tags;
  for (const auto& [name, value] : library.tags) tags.set(name, value);
  std::vector<Value> beacons;
  for (const auto& [identity, name] : timeline.beaconNames) {
    const auto& [uuid, major, minor] = identity;
    beacons.push_back(
        Dictionary{{"uuid", uuid}, {"major", major}, {"minor", minor}, {"name", name}});
  }
  return {{"user", library.username},
          {"portal", library.portalURL},
          {"refinements", Array(std::move(refinements))},
          {"without", withoutList(library.consent)},
          {"tags", std::move(tags)},
          {"enabledCategories", texts(library.enabledCategories)},
          {"disabledCategories", texts(library.disabledCategories)},
          {"showsNotifications", library.showsNotifications},
          {"waitsForPictures", library.waitsForPictures},
          {"start", timeline.start},
          {"beacons", Array(std::move(beacons))}};
}

LibraryHost::Options libraryOptionsIn(const Dictionary& host) {
  LibraryHost::Options options;
  options.username = textIn(host, "user");
  options.password = "recorded";
  options.portalURL = textIn(host, "portal");
  for (const std::string& chosen : textsIn(host, "refinements")) {
    for (const auto& [name, member] : Refinements::named()) {
      if (name == chosen) options.refinements.*member = true;
    }
  }
  options.consent = consentWithout(host["without"]);
  if (const Dictionary* const tags = host["tags"].dictionary()) {
    for (const auto& [name, value] : *tags) {
      options.tags.emplace_back(name, value.stringValue().value_or(""));
    }
  }
  options.enabledCategories = textsIn(host, "enabledCategories");
  options.disabledCategories = textsIn(host, "disabledCategories");
  options.showsNotifications = host["showsNotifications"].boolValue();
  options.waitsForPictures = host["waitsForPictures"].boolValue();
  return options;
}

TimelineRecorder::Options timelineOptionsIn(const Dictionary& host) {
  TimelineRecorder::Options options;
  if (const Date* const start = host["start"].date()) options.start = *start;
  options.portalURL = textIn(host, "portal");
  for (const Value& item : itemsIn(host, "beacons")) {
    const Dictionary* const beacon = item.dictionary();
    if (beacon == nullptr || (*beacon)["uuid"].uuid() == nullptr) continue;
    options.beaconNames[{
        *(*beacon)["uuid"].uuid(), static_cast<std::uint16_t>((*beacon)["major"].integerValue()),
        static_cast<std::uint16_t>((*beacon)["minor"].integerValue())}] = textIn(*beacon, "name");
  }
  return options;
}

}  // namespace ks::tool
