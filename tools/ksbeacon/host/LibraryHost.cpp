#include "tools/ksbeacon/host/LibraryHost.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <set>

#include "BeaconSDK/Classes/Beacon/Content/KSProximityZoneContentCategory.h"
#include "BeaconSDK/Classes/Logging/KSLog.h"
#include "BeaconSDK/Platform/Api/Platform.h"
#include "tools/ksbeacon/timeline/ContentDetails.h"

namespace ks::tool {

namespace {

std::string textIn(const Dictionary& arguments, const char* name) {
  return arguments[name].stringValue().value_or("");
}

using EnteredZones = std::vector<std::shared_ptr<KSProximityZone>>;

std::string listed(const auto& names) {
  return names.empty() ? "none" : fmt::format("{}", fmt::join(names, ", "));
}

Array arrayOf(const auto& names) { return Array(std::vector<Value>(names.begin(), names.end())); }

}  // namespace

LibraryHost::LibraryHost(std::shared_ptr<TimelineRecorder> recorder, Options options)
    : recorder_(std::move(recorder)), options_(std::move(options)) {
  observe();
}

LibraryHost::~LibraryHost() {
  observations_.clear();
  announced_.clear();
  manager_.reset();
}

void LibraryHost::observe() {
  NSNotificationCenter& center = Platform::current().notificationCenter();
  observations_.push_back(
      center.addObserver(KSProximityManagerTriggerContentNotification,
                         [this](const NSNotification& notification) { announced(notification); }));
  observations_.push_back(
      center.addObserver(DebugLogNotification, [this](const NSNotification& notification) {
        recorder_->say(TimelineKind::log,
                       notification.userInfo[ks::DebugLogMessageKey].stringValue().value_or(""));
      }));
}

bool LibraryHost::launch(const std::string& announcement) {
  KSProximityManager::enableLogging(options_.log);
  isRefused_ = false;
  // Two at a time would fight over their files.
  manager_.reset();
  manager_ = KSProximityManager::initWithUsername(
      options_.username, options_.password, NSURL{options_.portalURL},
      Platform::current().currentLocale(), options_.refinements, options_.consent);
  if (!manager_) {
    say("the library cannot be made: its cache folder is missing");
    return false;
  }
  manager_->setEngineObserver(recorder_);
  say(announcement);
  for (const auto& [name, value] : options_.tags) manager_->settingsManager().setTag(name, value);
  start();
  return true;
}

void LibraryHost::start() {
  manager_->start([this](const std::optional<Error>& error) { startEnded(error); });
}

void LibraryHost::startEnded(const std::optional<Error>& error) {
  if (error) {
    say("the library did not start: " + error->localizedDescription());
  } else {
    say("the library runs");
    for (const std::string& category : options_.enabledCategories) switchCategory(category, true);
    for (const std::string& category : options_.disabledCategories) switchCategory(category, false);
  }
  if (options_.started) options_.started(error);
}

void LibraryHost::transferEnded(const HttpExchange& exchange) {
  recorder_->transferEnded(exchange);
  const auto ledger = manager_ ? manager_->statisticsLedger() : std::nullopt;
  if (ledger) recorder_->checkLedger(*ledger);
  const bool isRefusal = exchange.status == 401 && !exchange.error &&
                         exchange.url.absoluteString == options_.portalURL + "/contents/categories";
  if (!isRefusal || !manager_) return;
  const std::string refusal = "the portal refuses user " + options_.username;
  isRefused_ = manager_->starting();
  if (!isRefused_ || options_.refinements.startAlwaysAnswers) return say(refusal);
  // The library itself says nothing of it.
  startEnded(Error("Application", 1, refusal));
}

void LibraryHost::announced(const NSNotification& notification) {
  const auto zone = KSProximityManager::proximityZoneFromNotification(notification);
  if (!zone || !zone->content()) return;
  const KSProximityZoneContent& content = *zone->content();
  const std::string identifier = content.identifier.value_or("");
  const std::string text = shownText(content.title.value_or(""), content.message.value_or(""));
  recorder_->say(TimelineKind::notification, fmt::format("content {} announced", identifier),
                 {{"action", "announced"},
                  {"zone", zone->identifier().value_or("")},
                  {"content", identifier},
                  {"text", text},
                  {"shows", contentDetails(content)}});
  announced_[identifier] = zone;
  if (options_.showsNotifications) show(zone);
}

void LibraryHost::fetchInBackground(KSProximityManager::FetchCompletion completion) {
  say("is woken for a background fetch");
  manager_->performFetchWithCompletionHandler(
      [this, completion = std::move(completion)](UIBackgroundFetchResult result) {
        say(result == UIBackgroundFetchResult::newData ? "background fetch: new data"
                                                       : "background fetch: no data");
        if (completion) completion(result);
      });
}

void LibraryHost::finishBackgroundTransfers() {
  say("is woken for background transfers");
  manager_->handleEventsForBackgroundURLSession(KSProximityManager::kSessionIdentifier,
                                                [this] { say("background transfers are done"); });
}

void LibraryHost::switchCategory(const std::string& identifier, bool enabled) {
  KSSettingsManager& settings = manager_->settingsManager();
  for (const auto& category : settings.contentCategories()) {
    if (category->identifier != identifier) continue;
    say(fmt::format("switches category {} {}", identifier, enabled ? "on" : "off"));
    settings.enableContentCategory(*category, enabled);
    return;
  }
  say(fmt::format("knows no category {} to switch", identifier));
}

std::shared_ptr<KSProximityZone> LibraryHost::announcedZone(const std::string& content) {
  const auto found = announced_.find(content);
  if (found != announced_.end()) return found->second;
  say(fmt::format("has no content {} to open: it was not announced", content));
  return nullptr;
}

void LibraryHost::openContent(const std::string& identifier) {
  if (const auto zone = announcedZone(identifier)) open(zone);
}

void LibraryHost::open(const std::shared_ptr<KSProximityZone>& zone) {
  const KSProximityZoneContent& content = *zone->content();
  const std::string identifier = content.identifier.value_or("");
  const std::string text = "the user opens content " + identifier;
  recorder_->say(TimelineKind::application, text,
                 {{"text", text},
                  {"action", "opened"},
                  {"zone", zone->identifier().value_or("")},
                  {"content", identifier},
                  {"shows", contentDetails(content)}});
  manager_->incrementLoyaltyForProximityZone(zone);
}

void LibraryHost::showContent(const std::string& identifier) {
  const auto zone = announcedZone(identifier);
  if (!zone) return;
  say("has content " + identifier + " shown");
  show(zone);
}

void LibraryHost::show(const std::shared_ptr<KSProximityZone>& zone) {
  if (options_.waitsForPictures) {
    manager_->showNotificationForProximityZone(zone);
  } else {
    manager_->fetchAndShowNotificationForProximityZone(zone);
  }
}

std::shared_ptr<KSProximityZone> LibraryHost::zoneIn(const Dictionary& userInfo) const {
  if (manager_ == nullptr) return nullptr;
  const std::string identifier = userInfo["beaconIdentifier"].stringValue().value_or("");
  const auto zone = manager_->proximityZoneForIdentifier(
      identifier, static_cast<KSContentDownloadType>(userInfo["contentType"].integerValue()));
  return zone && zone->content() ? zone : nullptr;
}

void LibraryHost::notificationShown(const std::string& title, const std::string& body,
                                    const Dictionary& userInfo) {
  const std::string text = shownText(title, body);
  Dictionary details{{"action", "shown"}, {"zone", userInfo["beaconIdentifier"]}, {"text", text}};
  if (const auto zone = zoneIn(userInfo)) {
    details.set("content", zone->content()->identifier.value_or(""));
    details.set("shows", contentDetails(*zone->content()));
  }
  recorder_->say(TimelineKind::notification, "shown: " + text, std::move(details));
}

void LibraryHost::openNotification(const Dictionary& userInfo) {
  const auto zone = zoneIn(userInfo);
  zone ? open(zone) : say("the user opens a content that is gone");
}

void LibraryHost::refresh() {
  manager_->setErrorHappened(false);
  // Long ago, so that a fetch finds them outdated.
  manager_->setLastLocationsRefreshDate(Date{});
  fetchInBackground();
}

void LibraryHost::look() {
  const char* const engine = manager_->started()    ? "running"
                             : manager_->starting() ? "starting"
                                                    : "stopped";
  std::set<std::string> entered;
  for (const auto& zone : manager_->enteredZones().value_or(EnteredZones{})) {
    entered.insert(zone->identifier().value_or("(null)"));
  }
  std::vector<std::string> ailments;
  for (const ks::Ailment& ailment : manager_->health().ailments) ailments.push_back(ailment.reason);
  recorder_->say(
      TimelineKind::state,
      fmt::format("engine {}; entered: {}; ailments: {}", engine, listed(entered),
                  listed(ailments)),
      {{"engine", engine}, {"entered", arrayOf(entered)}, {"ailments", arrayOf(ailments)}});
}

void LibraryHost::handle(const std::string& name, const Dictionary& arguments) {
  if (name == "launch") {
    launch(textIn(arguments, "text"));
    return;
  }
  if (name == "say") {
    const Dictionary* const details = arguments["details"].dictionary();
    recorder_->say(static_cast<TimelineKind>(arguments["kind"].integerValue()),
                   textIn(arguments, "text"), details != nullptr ? *details : Dictionary{});
    return;
  }
  if (name == "shown") {
    const Dictionary* const information = arguments["userInfo"].dictionary();
    notificationShown(textIn(arguments, "title"), textIn(arguments, "body"),
                      information != nullptr ? *information : Dictionary{});
    return;
  }
  if (manager_ == nullptr) return;
  const std::string subject = textIn(arguments, "name");
  KSSettingsManager& settings = manager_->settingsManager();
  if (name == "start") start();
  if (name == "fetch") fetchInBackground();
  if (name == "transfers") finishBackgroundTransfers();
  if (name == "retry") manager_->retry();
  if (name == "reset") manager_->reset();
  if (name == "open") openContent(subject);
  if (name == "show") showContent(subject);
  if (name == "purge") manager_->purge();
  if (name == "setConsent") manager_->setConsent(consentWithout(arguments["without"]));
  if (name == "openNotification" && arguments["userInfo"].dictionary() != nullptr) {
    openNotification(*arguments["userInfo"].dictionary());
  }
  if (name == "setTag") settings.setTag(subject, textIn(arguments, "value"));
  if (name == "deleteTag") settings.deleteTag(subject);
  if (name == "clearTags") settings.clearTags();
  if (name == "reloadBeacons") manager_->reloadBeacons();
  if (name == "look") look();
  if (name == "switchCategory") switchCategory(subject, arguments["on"].boolValue());
}

Array withoutList(const ks::Consent& consent) {
  std::vector<Value> names;
  for (const auto& [name, member] : ks::Consent::named()) {
    if (!(consent.*member)) names.emplace_back(name);
  }
  return Array(std::move(names));
}

ks::Consent consentWithout(const Value& names) {
  ks::Consent consent;
  if (names.array() == nullptr) return consent;
  for (const auto& [name, member] : ks::Consent::named()) {
    for (const Value& each : names.array()->items) {
      if (each.stringValue() == name) consent.*member = false;
    }
  }
  return consent;
}

std::string shownText(const std::string& title, const std::string& message) {
  if (title.empty() || message.empty()) return title + message;
  return title + ": " + message;
}

}  // namespace ks::tool
