#include "tools/ksbeacon/replay/DayDraft.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

#include "BeaconSDK/Platform/Recorded/EnclosedPlatform.h"
#include "BeaconSDK/Platform/Recorded/ReplayedPlatform.h"
#include "tools/ksbeacon/host/HostDetails.h"

namespace ks::tool {

namespace {

using Kind = RecordedEvent::Kind;
using Do = Scenario::Event::Kind;

/// What happens this early belongs to the launch.
constexpr Seconds kLaunch{1};

std::string textIn(const Dictionary& details, const char* name) {
  return details[name].stringValue().value_or("");
}

const Dictionary& dictionaryIn(const Dictionary& details, const char* name) {
  static const Dictionary kNone;
  const Dictionary* const found = details[name].dictionary();
  return found != nullptr ? *found : kNone;
}

CLLocationCoordinate2D eastOf(const CLLocationCoordinate2D& place, double metres) {
  constexpr double kDegree = 180 / std::numbers::pi;
  const double shrink = std::max(0.01, std::cos(place.latitude / kDegree));
  return {place.latitude, place.longitude + metres / kMeanEarthRadius.value * kDegree / shrink};
}

}  // namespace

void DayDraft::note(const TimelineEvent& event) {
  if (event.kind == TimelineKind::ranging) noteRanging(event);
  if (event.kind == TimelineKind::trigger) fired_.insert(textIn(event.details, "content"));
}

void DayDraft::noteRanging(const TimelineEvent& event) {
  const Array* const results = event.details["beacons"].array();
  if (results == nullptr) return;
  for (const Value& item : results->items) {
    const Dictionary* const result = item.dictionary();
    if (result == nullptr) continue;
    const double distance = (*result)["distance"].doubleValue();
    Beacon& beacon = beacons_[textIn(*result, "name")];
    if (distance < 0 || (beacon.nearest >= 0 && distance >= beacon.nearest)) continue;
    beacon.nearest = distance;
    beacon.radio.proximityUUID = UUID::fromString(textIn(*result, "uuid")).value_or(UUID{});
    beacon.radio.major = static_cast<std::uint16_t>((*result)["major"].integerValue());
    beacon.radio.minor = static_cast<std::uint16_t>((*result)["minor"].integerValue());
    beacon.nearestAt = event.at;
  }
}

void DayDraft::readEntries(const std::filesystem::path& recording) {
  auto reader = RecordingReader::open(recording);
  if (!reader) return;
  RecordedEvent event;
  while (reader.value().next(event)) {
    if (event.kind == Kind::begin) begin(event);
    if (!event.isInput()) continue;
    const Seconds inProcess{static_cast<double>(event.microseconds) / 1e6};
    lastEnd_ = process_.at + inProcess;
    documents_.note(event, process_.portalURL);
    addEvent(event, lastEnd_);
  }
}

void DayDraft::begin(const RecordedEvent& event) {
  const Date* const start = event.details["start"].date();
  if (start == nullptr) return;
  const Dictionary& host = dictionaryIn(event.details, "host");
  const LibraryHost::Options options = libraryOptionsIn(host);
  process_ = {*start, Seconds{0}, options.portalURL};
  if (std::exchange(hasBegun_, true)) {
    process_.at = *start - firstStart_;
    Scenario::Event restart{lastEnd_, Do::restart};
    restart.downtime = std::max(Seconds{0}, process_.at - lastEnd_);
    found_.events.push_back(restart);
    return;
  }
  firstStart_ = *start;
  const SimulatedSettings settings = settingsFrom(dictionaryIn(event.details, "settings"));
  found_.timeZone = settings.timeZoneName;
  const NSLocale& locale = settings.locale;
  if (locale.languageCode && locale.countryCode && locale.languageCode->size() == 2 &&
      locale.countryCode->size() == 2) {
    found_.language = *locale.languageCode;
    found_.country = *locale.countryCode;
  }
  found_.application.foreground = false;
  found_.application.credentials.username = options.username;
  found_.application.tags = options.tags;
  found_.application.disabledCategories = options.disabledCategories;
  found_.application.refinements = options.refinements;
  found_.application.showsNotifications = options.showsNotifications;
}

void DayDraft::addEvent(const RecordedEvent& event, Seconds at) {
  const bool isLaunch = at - process_.at < kLaunch;
  Scenario::Event made{at};
  switch (event.kind) {
    case Kind::fix:
      walk_.add(at, event.location.coordinate, event.location.horizontalAccuracy);
      return;
    case Kind::notification:
      made.kind = textIn(event.details, "name") == UIApplicationDidBecomeActiveNotification
                      ? Do::becomeActive
                      : Do::resignActive;
      if (isLaunch && made.kind == Do::becomeActive) {
        found_.application.foreground = true;
        return;
      }
      break;
    case Kind::authorization:
      made.permission = static_cast<CLAuthorizationStatus>(std::min<std::uint64_t>(
          event.subject, static_cast<std::uint64_t>(CLAuthorizationStatus::authorizedWhenInUse)));
      if (isLaunch) {
        found_.permission = made.permission;
        return;
      }
      made.kind = Do::setPermission;
      break;
    case Kind::host:
      return addCall(event, at);
    default:
      return;
  }
  found_.events.push_back(made);
}

void DayDraft::addCall(const RecordedEvent& event, Seconds at) {
  static const std::pair<const char*, Do> kCalls[] = {
      {"fetch", Do::backgroundFetch}, {"transfers", Do::backgroundTransfer},
      {"retry", Do::retry},           {"reset", Do::reset},
      {"open", Do::openContent},      {"show", Do::showNotification},
      {"setTag", Do::setTag},         {"deleteTag", Do::deleteTag},
      {"clearTags", Do::clearTags},   {"switchCategory", Do::disableCategory}};
  const std::string name = textIn(event.details, "name");
  const auto call = std::ranges::find(kCalls, name, &std::pair<const char*, Do>::first);
  if (call == std::end(kCalls)) return;
  const Dictionary& arguments = dictionaryIn(event.details, "arguments");
  Scenario::Event made{at, call->second};
  made.name = textIn(arguments, "name");
  made.value = textIn(arguments, "value");
  if (made.kind == Do::disableCategory && arguments["on"].boolValue()) {
    made.kind = Do::enableCategory;
  }
  found_.events.push_back(made);
}

/// A beacon stands as far east of the walk as it was measured when it was nearest.
void DayDraft::placeBeacons(Scenario& day) const {
  const SimulatedWalk walk(day.start, day.walk.stops);
  for (const auto& [name, beacon] : beacons_) {
    if (beacon.nearest < 0) continue;
    const auto device = walk.positionAt(day.start + beacon.nearestAt);
    Scenario::Beacon& placed = day.beacons.emplace_back(Scenario::Beacon{name, beacon.radio});
    placed.radio.coordinate = eastOf(device.coordinate, beacon.nearest);
  }
}

Scenario DayDraft::scenario(const std::filesystem::path& recording,
                            const ReplayResult& result) const {
  Scenario day = found_;
  day.file = recording;
  day.title = "As recorded in " + recording.filename().string();
  day.start = result.start;
  day.until = std::max(Seconds{1}, Seconds{std::ceil(result.end.count())});
  day.application.credentials.password = "demo";
  day.portal.credentials = day.application.credentials;
  day.walk.stops = walk_.stops();
  if (day.walk.stops.empty()) {
    day.walk.stops.emplace_back();
    day.walk.outages = {{day.start, day.start + day.until}};
  }
  placeBeacons(day);
  std::erase_if(day.events, [&](const auto& event) { return event.at > day.until; });
  for (const std::string& content : fired_) {
    Scenario::Expectation fires;
    fires.name = content;
    fires.to = day.until;
    day.expectations.push_back(fires);
  }
  return day;
}

}  // namespace ks::tool
