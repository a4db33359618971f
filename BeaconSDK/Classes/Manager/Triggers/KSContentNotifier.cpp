#include "BeaconSDK/Classes/Manager/Triggers/KSContentNotifier.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <system_error>
#include <utility>

#include "BeaconSDK/Classes/Common/Foundation/NSFileManager+Helpers.h"
#include "BeaconSDK/Platform/Api/Platform.h"

namespace {

constexpr std::string_view kIcon = "messageIcon";
constexpr std::string_view kMedia = "richMedia";
constexpr const char* kRequestIdentifier = "newNotificationRequest";
/// Long enough for the application to move to the background and the user to see it arrive.
constexpr ks::Seconds kDelay{5.0};
/// The older kind cannot be delayed by attachments.
constexpr ks::Seconds kPlainDelay{1.0};

/// The last component of a path or URL, without what would not be part of a file's name.
std::string_view fileNameIn(std::string_view url) {
  const auto end = url.find_last_not_of('/');
  if (end == std::string_view::npos) return "";
  url = url.substr(0, end + 1);
  const auto slash = url.rfind('/');
  const auto name = slash == std::string_view::npos ? url : url.substr(slash + 1);
  return name.substr(0, name.find_first_of("/\\?%*|\"<>="));
}

ks::Dictionary userInfoFor(const KSProximityZone& zone) {
  return {{"beaconIdentifier", zone.identifier()}, {"contentType", zone.contentType()}};
}

/// Unique in this process, and beside what an earlier one has left on the screen.
std::string nextRequestIdentifier(ks::Date now) {
  static std::uint64_t count = 0;
  const double seconds = ks::secondsSince1970(now);
  return kRequestIdentifier + ("-" + std::to_string(static_cast<std::int64_t>(seconds))) + "-" +
         std::to_string(++count);
}

void schedulePlainNotification(ks::Platform& platform, const KSProximityZone& zone) {
  ks::UILocalNotification notification;
  notification.fireAfter = kPlainDelay;
  notification.alertBody = zone.content()->message.value_or("");
  notification.defaultSound = true;
  notification.userInfo = userInfoFor(zone);
  platform.application().scheduleLocalNotification(std::move(notification));
}

void remove(const std::optional<std::filesystem::path>& file) {
  std::error_code ignored;
  if (file) std::filesystem::remove(*file, ignored);
}

/// What the pictures of one notification may still cost.
class Budget {
 public:
  explicit Budget(const ks::Clock& clock)
      : clock_(clock), end_(clock.uptime() + KSContentNotifier::kPictureLimits.time) {}
  ks::DataLimits left() const { return {size_, end_ - clock_.uptime()}; }
  void spend(std::uint64_t size) { size_ -= std::min(size, size_); }

 private:
  const ks::Clock& clock_;
  std::uint64_t size_ = KSContentNotifier::kPictureLimits.size;
  ks::Seconds end_;
};

struct Pictures {
  std::optional<std::filesystem::path> icon;
  std::optional<std::filesystem::path> media;
};

/// Where the content of `url` belongs; nothing for an empty URL.
std::optional<std::filesystem::path> pathFor(const std::optional<std::string>& url,
                                             std::string_view filePrefix) {
  if (!url || url->empty()) return std::nullopt;
  return ks::NSFileManagerHelpers::tempFilePath(std::string(filePrefix) + "_" +
                                                std::string(fileNameIn(*url)));
}

bool isThere(const std::filesystem::path& path) {
  std::error_code error;
  return std::filesystem::exists(path, error);
}

std::optional<std::filesystem::path> fetch(ks::Platform& platform,
                                           const std::optional<std::string>& url,
                                           std::string_view filePrefix, Budget& budget) {
  auto path = pathFor(url, filePrefix);
  if (!path || isThere(*path)) return path;
  const auto data = platform.urlLoadingSystem().dataWithContentsOfURL({*url}, budget.left());
  if (!data || !ks::writeFileAtomically(*path, *data)) return std::nullopt;
  budget.spend(data->size());
  return path;
}

/// The same without waiting; `completion` runs on the main queue, or at once when there is nothing
/// to fetch.
void fetchInBackground(ks::Platform& platform, const std::optional<std::string>& url,
                       std::string_view filePrefix, const std::shared_ptr<Budget>& budget,
                       std::function<void(std::optional<std::filesystem::path>)> completion) {
  const auto path = pathFor(url, filePrefix);
  if (!path || isThere(*path)) return completion(path);
  platform.urlLoadingSystem().loadData(
      {*url}, budget->left(),
      [path, budget, completion = std::move(completion),
       &mainQueue = platform.mainQueue()](const std::optional<ks::Data>& data) {
        const bool isKept = data && ks::writeFileAtomically(*path, *data);
        const std::uint64_t size = data ? data->size() : 0;
        mainQueue.async([=] {
          budget->spend(size);
          completion(isKept ? path : std::nullopt);
        });
      });
}

void show(ks::Platform& platform, const KSProximityZone& zone, const Pictures& pictures,
          bool isKept) {
  auto* const center = platform.userNotificationCenter();
  if (center == nullptr) return schedulePlainNotification(platform, zone);
  ks::UNNotificationRequest request;
  request.identifier = isKept ? nextRequestIdentifier(platform.clock().now()) : kRequestIdentifier;
  request.content.defaultSound = true;
  request.content.body = zone.content()->message.value_or("");
  request.content.userInfo = userInfoFor(zone);
  const auto& [icon, media] = pictures;
  auto& attachments = request.content.attachments;
  if (icon) attachments.push_back({std::string(kIcon), *icon, std::nullopt});
  if (media) attachments.push_back({std::string(kMedia), *media, icon.has_value()});
  request.trigger = {kDelay, false};
  center->addNotificationRequest(std::move(request), [pictures](const std::optional<ks::Error>&) {
    remove(pictures.icon);
    remove(pictures.media);
  });
}

/// Whether the device can show pictures at all.
bool showsPictures(ks::Platform& platform) { return platform.userNotificationCenter() != nullptr; }

}  // namespace

void KSContentNotifier::showNotificationForProximityZone(
    const std::shared_ptr<KSProximityZone>& zone) const {
  if (!zone || !zone->content()) return;
  Pictures pictures;
  if (showsPictures(platform_)) {
    const KSProximityZoneContent& content = *zone->content();
    Budget budget(platform_.clock());
    pictures.icon = fetch(platform_, content.messageIconUrl, kIcon, budget);
    pictures.media = fetch(platform_, content.richMediaUrl, kMedia, budget);
  }
  show(platform_, *zone, pictures, isEachKept_);
}

void KSContentNotifier::fetchAndShowNotificationForProximityZone(
    const std::shared_ptr<KSProximityZone>& zone) const {
  if (!zone || !zone->content()) return;
  if (!showsPictures(platform_)) return show(platform_, *zone, {}, isEachKept_);
  const auto budget = std::make_shared<Budget>(platform_.clock());
  // The notifier may be gone before the files have come, so the platform is captured instead.
  fetchInBackground(platform_, zone->content()->messageIconUrl, kIcon, budget,
                    [&platform = platform_, isKept = isEachKept_, zone, budget,
                     media = zone->content()->richMediaUrl](const auto& icon) {
                      fetchInBackground(platform, media, kMedia, budget,
                                        [&platform, isKept, zone, icon](const auto& path) {
                                          show(platform, *zone, {icon, path}, isKept);
                                        });
                    });
}

void KSContentNotifier::showMessage(std::string title, std::string message) const {
  platform_.application().showAlertView({std::move(title), std::move(message), "OK"});
}

std::optional<std::filesystem::path> KSContentNotifier::contentPathFromRemoteUrl(
    const std::optional<std::string>& url, std::string_view filePrefix) const {
  Budget budget(platform_.clock());
  return fetch(platform_, url, filePrefix, budget);
}
