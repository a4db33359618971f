#include "BeaconSDK/Platform/Recorded/EnclosedPlatform.h"

#include <utility>

namespace ks {

namespace {

using Kind = RecordedEvent::Kind;

constexpr double kMicrosecondsPerSecond = 1e6;

}  // namespace

std::optional<Error> EnclosedPlatform::Files::write(const std::filesystem::path& path,
                                                    std::span<const std::uint8_t> bytes) {
  auto error = DiskFileStore::write(path, bytes);
  const Value answer =
      outside_.answer("write", [&] { return error ? Value(error->code()) : Value(Null{}); });
  if (!answer.isNumber()) return std::nullopt;
  if (!error) error.emplace(NSPOSIXErrorDomain, answer.integerValue(), "cannot write the file");
  return error;
}

EnclosedPlatform::EnclosedPlatform(Outside& outside, Console& console, Beginning beginning)
    : outside_(outside),
      console_(console),
      beginning_(std::move(beginning)),
      link_(std::make_shared<OutsideLink>(OutsideLink{&outside})),
      loop_(std::make_shared<SimulatedLoop>(beginning_.start)),
      mainQueue_(loop_, SimulatedQueue::Role::main),
      globalQueue_(loop_),
      files_(outside),
      userDefaults_(beginning_.state / "UserDefaults.txt", console),
      device_(beginning_.settings),
      regionStore_(beginning_.state / "MonitoredRegions", console),
      engine_(loop_->clock(), mainQueue_, regionStore_, *this),
      radio_(outside, link_),
      reachability_(outside, link_),
      application_(outside, link_),
      loading_(outside, link_, loop_, globalQueue_, beginning_.directories.temporary) {
  engine_.observeApplication(notificationCenter_);
}

EnclosedPlatform::~EnclosedPlatform() { detach(); }

void EnclosedPlatform::passTime(std::int64_t microseconds) {
  loop_->runUntilUptime(Seconds{static_cast<double>(microseconds) / kMicrosecondsPerSecond});
}

void EnclosedPlatform::deliver(const RecordedEvent& event) {
  apply(event);
  loop_->runUntilIdle();
}

void EnclosedPlatform::apply(const RecordedEvent& event) {
  switch (event.kind) {
    case Kind::notification:
      return mainQueue_.async([this, name = event.details["name"].stringValue().value_or("")] {
        notificationCenter_.post({name, nullptr, {}});
      });
    case Kind::radioState:
    case Kind::discovery:
      return radio_.deliver(event, mainQueue_);
    case Kind::download:
    case Kind::completion:
    case Kind::invalidation:
    case Kind::backgroundTransfersDone:
    case Kind::loaded:
      return loading_.deliver(event);
    case Kind::notificationAdded:
    case Kind::backgroundTaskExpired:
      return application_.deliver(event, mainQueue_);
    case Kind::reachability:
      return reachability_.deliver(event, mainQueue_);
    case Kind::host:
      return mainQueue_.async([this, details = event.details] {
        static const Dictionary kNone;
        const Dictionary* const arguments = details["arguments"].dictionary();
        if (!hostHandler_) return;
        hostHandler_(details["name"].stringValue().value_or(""),
                     arguments != nullptr ? *arguments : kNone);
      });
    case Kind::wallClock:
      if (const Date* const now = event.details["now"].date()) loop_->setWallClock(*now);
      return;
    case Kind::settings:
      return device_.change(
          [&](SimulatedSettings& settings) { settings = settingsFrom(event.details); });
    default:
      applyToEngine(event);
  }
}

void EnclosedPlatform::applyToEngine(const RecordedEvent& event) {
  switch (event.kind) {
    case Kind::advertisement:
      return engine_.handleAdvertisement(event.advertisement);
    case Kind::fix:
      return engine_.handleFix(event.location);
    case Kind::positionFailed:
      return engine_.positionFailed(
          locationError(static_cast<CLErrorCode>(static_cast<std::int64_t>(event.subject))));
    case Kind::authorization:
      return engine_.setAuthorizationStatus(static_cast<CLAuthorizationStatus>(event.subject));
    case Kind::scanningAvailable:
      return engine_.setBeaconScanningAvailable(event.subject != 0);
    case Kind::scanningPaused:
      return engine_.setBeaconScanningPaused(event.subject != 0);
    case Kind::positioningAvailable:
      return engine_.setPositioningAvailable(event.subject != 0);
    case Kind::receiverGain:
      return engine_.setReceiverGain(Dbm{event.details["gain"].doubleValue()});
    default:
      return;
  }
}

void EnclosedPlatform::noticed(const std::string& text) {
  if (noticeListener_) return noticeListener_(text);
  console_.log(text);
}

Dictionary settingsDetails(const SimulatedSettings& settings) {
  return {{"bundle", settings.mainBundle.bundleIdentifier},
          {"bundleVersion", settings.mainBundle.shortVersionString},
          {"library", settings.libraryBundle.bundleIdentifier},
          {"libraryVersion", settings.libraryBundle.shortVersionString},
          {"language", settings.locale.languageCode},
          {"country", settings.locale.countryCode},
          {"timeZone", settings.timeZoneName},
          {"system", settings.systemVersion},
          {"machine", settings.machine},
          {"vendor", settings.identifierForVendor},
          {"advertising", settings.advertisingIdentifier},
          {"tracking", settings.advertisingTrackingEnabled},
          {"notifications", settings.hasUserNotificationCenter}};
}

SimulatedSettings settingsFrom(const Dictionary& details) {
  const auto uuid = [&](const char* name) {
    return details[name].uuid() != nullptr ? *details[name].uuid() : UUID{};
  };
  SimulatedSettings settings;
  settings.mainBundle = {details["bundle"].stringValue().value_or(""),
                         details["bundleVersion"].stringValue()};
  settings.libraryBundle = {details["library"].stringValue().value_or(""),
                            details["libraryVersion"].stringValue()};
  settings.locale = {details["language"].stringValue(), details["country"].stringValue()};
  settings.timeZoneName = details["timeZone"].stringValue().value_or("UTC");
  settings.systemVersion = details["system"].stringValue().value_or("");
  settings.machine = details["machine"].stringValue().value_or("");
  settings.identifierForVendor = uuid("vendor");
  settings.advertisingIdentifier = uuid("advertising");
  settings.advertisingTrackingEnabled = details["tracking"].boolValue();
  settings.hasUserNotificationCenter = details["notifications"].boolValue();
  return settings;
}

}  // namespace ks
