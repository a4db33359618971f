#include "BeaconSDK/Platform/Recorded/RecordedPlatform.h"

#include <algorithm>
#include <cmath>
#include <system_error>
#include <utility>

#include "BeaconSDK/Platform/Api/UIKit.h"

namespace ks {

namespace {

namespace fs = std::filesystem;
using Kind = RecordedEvent::Kind;

constexpr std::size_t kLargestBuffer = std::size_t{256} * 1024;
constexpr std::int64_t kLongestBuffering = 10'000'000;
/// A little more than the longest buffering.
constexpr Seconds kLongestSilence{10.1};
/// Time zones and languages change that seldom.
constexpr std::int64_t kBetweenChecks = 60'000'000;
/// Less is how two clocks are read one after the other.
constexpr Seconds kLeastJump{0.05};
/// Of all files of a device together.
constexpr std::uintmax_t kMostFileBytes = std::uintmax_t{64} * 1024 * 1024;

double roundedDegrees(double degrees) { return std::round(degrees * 1000) / 1000; }

/// Calls of the host that name tags, and lines that tell of them.
bool tellsOfTags(const RecordedEvent& event) {
  if (event.kind != Kind::host) return false;
  const std::string name = event.details["name"].stringValue().value_or("");
  const Dictionary* const arguments = event.details["arguments"].dictionary();
  const std::string text =
      arguments != nullptr ? (*arguments)["text"].stringValue().value_or("") : "";
  return name.find("Tag") != std::string::npos || text.find(" tag") != std::string::npos;
}

/// The beginning without tags and without what identifies the device.
void makeBeginningPrivate(Dictionary& details) {
  if (const Dictionary* const settings = details["settings"].dictionary()) {
    Dictionary shown = *settings;
    for (const char* const name : {"vendor", "advertising"}) shown.set(name, UUID{});
    details.set("settings", std::move(shown));
  }
  if (const Dictionary* const host = details["host"].dictionary()) {
    Dictionary shown = *host;
    shown.erase("tags");
    details.set("host", std::move(shown));
  }
  if (const Dictionary* const files = details["files"].dictionary()) {
    Dictionary shown;
    for (const auto& [name, content] : *files) {
      if (name.find("ags") == std::string::npos) shown.set(name, content);
    }
    details.set("files", std::move(shown));
  }
}

/// Takes out what a private recording does not tell.
void makePrivate(RecordedEvent& event) {
  if (event.kind == Kind::begin) return makeBeginningPrivate(event.details);
  if (event.kind == Kind::fix) {
    auto& coordinate = event.location.coordinate;
    coordinate = {roundedDegrees(coordinate.latitude), roundedDegrees(coordinate.longitude)};
  }
  if (event.kind != Kind::download && event.kind != Kind::completion) return;
  const auto withoutQuery = [](const Value& url) {
    const std::string text = url.stringValue().value_or("");
    return text.substr(0, text.find('?'));
  };
  event.details.set("target", withoutQuery(event.details["target"]));
  if (const Dictionary* const response = event.details["response"].dictionary()) {
    Dictionary shown = *response;
    shown.set("url", withoutQuery(shown["url"]));
    event.details.set("response", std::move(shown));
  }
}

SimulatedSettings settingsOf(Platform& device) {
  SimulatedSettings settings;
  settings.mainBundle = device.mainBundle();
  settings.libraryBundle = device.libraryBundle();
  settings.locale = device.currentLocale();
  settings.timeZoneName = device.timeZoneName();
  settings.systemVersion = device.device().systemVersion();
  settings.machine = device.device().machine();
  settings.identifierForVendor = device.device().identifierForVendor();
  settings.advertisingTrackingEnabled = device.identifierManager().isAdvertisingTrackingEnabled();
  settings.advertisingIdentifier = device.identifierManager().advertisingIdentifier();
  settings.hasUserNotificationCenter = device.userNotificationCenter() != nullptr;
  return settings;
}

/// The device's own engine saves and lets go of its files before another one reads them.
EnclosedPlatform::Beginning beginningOf(Platform& device, LocationEngine& engine, fs::path state) {
  engine.redirect(nullptr);
  return {device.clock().now(), settingsOf(device), device.directories(), std::move(state)};
}

void addFile(Dictionary& files, const std::string& name, const fs::path& path,
             std::uintmax_t& size) {
  DiskFileStore store;
  const FileContent content = store.read(path, kMostFileBytes - size);
  if (content.state != FileContent::State::whole) return;
  size += content.bytes.size();
  files.set(name, content.bytes);
}

/// The regular files in a folder; with those of its folders, but for replies kept of the portal,
/// which the real device looks after.
void addFiles(Dictionary& files, const std::string& name, const fs::path& folder, bool deeply,
              std::uintmax_t& size) {
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(folder, error)) {
    const std::string inside = name + "/" + entry.path().filename().string();
    if (entry.is_symlink(error)) continue;
    if (entry.is_regular_file(error)) addFile(files, inside, entry.path(), size);
    const bool isCache = entry.path().filename() == "KSBeaconSDK";
    if (deeply && !isCache && entry.is_directory(error)) {
      addFiles(files, inside, entry.path(), true, size);
    }
  }
}

}  // namespace

Result<std::unique_ptr<RecordingWriter>> RecordingWriter::create(const fs::path& path,
                                                                 Options options) {
  RecordingRing ring(options.limit);
  const std::uintmax_t whole = options.limit.isSet() ? ring.read(path) : 0;
  auto file =
      whole > 0 ? RecordingFileWriter::resume(path, whole) : RecordingFileWriter::create(path);
  if (!file) return file.error();
  return std::make_unique<RecordingWriter>(std::move(file.value()), std::move(ring), options);
}

void RecordingWriter::add(RecordedEvent event) {
  if (error_) return;
  if (event.kind == Kind::begin) begin(event);
  if (event.kind == Kind::mark || event.kind == Kind::note) event.microseconds = now_;
  now_ = event.microseconds;
  if (options_.isPrivate && tellsOfTags(event)) return;
  if (options_.isPrivate) makePrivate(event);
  encoder_.add(event);
  if (encoder_.bytes().size() >= kLargestBuffer) flush();
  flushIfDue(now_);
}

void RecordingWriter::begin(const RecordedEvent& event) {
  flush();
  lastFlush_ = now_ = 0;
  if (const Date* const start = event.details["start"].date()) start_ = *start;
  ring_.partBegins({file_.size(), start_});
}

/// A recording that cannot be made shorter goes on as it is.
void RecordingWriter::keepWithinLimit() {
  const std::uintmax_t first = ring_.drop(file_.size(), date());
  if (first <= kRecordingMark.size() || file_.dropFront(first)) return;
  ring_.cutAt(first, kRecordingMark.size());
}

void RecordingWriter::flushIfDue(std::int64_t microseconds) {
  if (microseconds - lastFlush_ < kLongestBuffering) return;
  flush();
  lastFlush_ = microseconds;
}

void RecordingWriter::flush() {
  lastFlush_ = now_;
  if (encoder_.bytes().empty() || error_) return;
  error_ = file_.append(encoder_.bytes());
  encoder_.clear();
  if (options_.limit.isSet()) keepWithinLimit();
}

RecordedPlatform::RecordedPlatform(Platform& device, LocationEngine& engine, fs::path state,
                                   RecordingWriter& writer, Dictionary host)
    : EnclosedPlatform(*this, device.console(), beginningOf(device, engine, state)),
      realDevice_(&device),
      engine_(engine),
      writer_(writer),
      begin_(device.clock().uptime()) {
  host.set("state", state.string());
  writeBeginning(std::move(host));
  for (const char* const name :
       {UIApplicationDidBecomeActiveNotification, UIApplicationWillResignActiveNotification}) {
    observe(name);
  }
  engine.redirect(this);
}

RecordedPlatform::~RecordedPlatform() {
  detach();
  engine_.redirect(nullptr);
  observations_.clear();
  RecordedEvent end;
  end.kind = Kind::end;
  end.microseconds = now_;
  writer_.add(std::move(end));
  writer_.flush();
  realDevice_ = nullptr;
}

void RecordedPlatform::writeBeginning(Dictionary host) {
  Dictionary files;
  std::uintmax_t size = 0;
  const fs::path state = host["state"].stringValue().value_or("");
  host.erase("state");
  addFiles(files, "caches", directories().caches, true, size);
  addFiles(files, "documents", directories().documents, true, size);
  addFiles(files, "state", state, false, size);
  RecordedEvent begin;
  begin.kind = Kind::begin;
  begin.details = {{"start", clock().now()},
                   {"settings", settingsDetails(settings())},
                   {"private", writer_.options().isPrivate},
                   {"files", std::move(files)},
                   {"host", std::move(host)}};
  writer_.add(std::move(begin));
}

void RecordedPlatform::observe(const char* notification) {
  observations_.push_back(realDevice_->notificationCenter().addObserver(
      notification, [this](const NSNotification& posted) {
        RecordedEvent event;
        event.kind = Kind::notification;
        event.details.set("name", posted.name);
        enter(std::move(event));
      }));
}

void RecordedPlatform::call(std::string name, Dictionary arguments) {
  RecordedEvent event;
  event.kind = Kind::host;
  event.details = {{"name", std::move(name)}, {"arguments", std::move(arguments)}};
  enter(std::move(event));
}

Value RecordedPlatform::answer(std::string_view question, const std::function<Value()>& ask) {
  if (realDevice_ == nullptr) return {};
  RecordedEvent event;
  event.kind = Kind::answer;
  event.microseconds = now_;
  Value answer = ask();
  event.details = {{"question", question}, {"answer", answer}};
  writer_.add(std::move(event));
  return answer;
}

void RecordedPlatform::enter(RecordedEvent event) {
  waiting_.push_back(std::move(event));
  if (isRunning_) return;
  isRunning_ = true;
  while (!waiting_.empty()) {
    RecordedEvent next = std::move(waiting_.front());
    waiting_.pop_front();
    passToNow();
    follow(std::move(next));
  }
  isRunning_ = false;
  armWakeup();
}

void RecordedPlatform::follow(RecordedEvent event) {
  event.microseconds = now_;
  writer_.add(event);
  deliver(event);
}

void RecordedPlatform::settle() {
  if (std::exchange(isRunning_, true)) return;
  passToNow();
  isRunning_ = false;
  writer_.flushIfDue(now_);
  armWakeup();
}

void RecordedPlatform::passToNow() {
  const Seconds elapsed = realDevice_->clock().uptime() - begin_;
  now_ = std::max<std::int64_t>(now_, std::llround(elapsed.count() * 1e6));
  passTime(now_);
  checkWallClock();
  if (now_ - lastCheck_ >= kBetweenChecks) checkSettings();
}

void RecordedPlatform::checkWallClock() {
  const Date now = realDevice_->clock().now();
  if (std::abs(secondsBetween(clock().now(), now)) < kLeastJump.count()) return;
  RecordedEvent event;
  event.kind = Kind::wallClock;
  event.details.set("now", now);
  follow(std::move(event));
}

void RecordedPlatform::checkSettings() {
  lastCheck_ = now_;
  Dictionary details = settingsDetails(settingsOf(*realDevice_));
  if (details == settingsDetails(settings())) return;
  RecordedEvent event;
  event.kind = Kind::settings;
  event.details = std::move(details);
  follow(std::move(event));
}

void RecordedPlatform::armWakeup() {
  wakeup_.cancel();
  const auto due = loop()->nextDueUptime();
  if (!due && !writer_.hasUnwritten()) return;
  const Seconds elapsed = realDevice_->clock().uptime() - begin_;
  Seconds delay = kLongestSilence;
  // The next whole microsecond, at which the task is due for certain.
  if (due) delay = Seconds{std::ceil(due->count() * 1e6) / 1e6} - elapsed;
  if (writer_.hasUnwritten()) delay = std::min(delay, kLongestSilence);
  wakeup_.arm(realDevice_->mainQueue(), delay, [this] { settle(); });
}

void RecordedPlatform::demandChanged(const LocationDemand& demand) {
  if (realDevice_ != nullptr) engine_.setDemand(demand);
}

void RecordedPlatform::enterNumber(Kind kind, std::uint64_t number) {
  RecordedEvent event;
  event.kind = kind;
  event.subject = number;
  enter(std::move(event));
}

void RecordedPlatform::setAuthorizationStatus(CLAuthorizationStatus status) {
  enterNumber(Kind::authorization, static_cast<std::uint64_t>(status));
}

void RecordedPlatform::setBeaconScanningAvailable(bool available) {
  enterNumber(Kind::scanningAvailable, available ? 1 : 0);
}

void RecordedPlatform::setBeaconScanningPaused(bool paused) {
  enterNumber(Kind::scanningPaused, paused ? 1 : 0);
}

void RecordedPlatform::setPositioningAvailable(bool available) {
  enterNumber(Kind::positioningAvailable, available ? 1 : 0);
}

void RecordedPlatform::setReceiverGain(Dbm gain) {
  RecordedEvent event;
  event.kind = Kind::receiverGain;
  event.details.set("gain", gain.value);
  enter(std::move(event));
}

void RecordedPlatform::handleAdvertisement(const Advertisement& advertisement) {
  RecordedEvent event;
  event.kind = Kind::advertisement;
  event.advertisement = advertisement;
  enter(std::move(event));
}

void RecordedPlatform::handleFix(const CLLocation& fix) {
  RecordedEvent event;
  event.kind = Kind::fix;
  event.location = fix;
  enter(std::move(event));
}

void RecordedPlatform::positionFailed(const Error& error) {
  enterNumber(Kind::positionFailed, static_cast<std::uint64_t>(error.code()));
}

}  // namespace ks
