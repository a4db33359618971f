#include "BeaconSDK/Classes/Manager/Triggers/KSContentNotifier.h"

#include <cstdint>
#include <string>
#include <system_error>
#include <utility>

#include "BeaconSDK/Classes/Common/Foundation/NSFileManager+Helpers.h"
#include "BeaconSDK/Platform/Api/Platform.h"

namespace KSContentNotifier {

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
std::string nextRequestIdentifier() {
  static std::uint64_t count = 0;
  const double seconds = ks::secondsSince1970(ks::Platform::current().clock().now());
  return kRequestIdentifier + ("-" + std::to_string(static_cast<std::int64_t>(seconds))) + "-" +
         std::to_string(++count);
}

void schedulePlainNotification(const KSProximityZone& zone) {
  ks::UILocalNotification notification;
  notification.fireAfter = kPlainDelay;
  notification.alertBody = zone.content()->message.value_or("");
  notification.defaultSound = true;
  notification.userInfo = userInfoFor(zone);
  ks::Platform::current().application().scheduleLocalNotification(std::move(notification));
}

void remove(const std::optional<std::filesystem::path>& file) {
  std::error_code ignored;
  if (file) std::filesystem::remove(*file, ignored);
}

}  // namespace

void showNotificationForProximityZone(const std::shared_ptr<KSProximityZone>& zone, bool each) {
  if (!zone || !zone->content()) return;
  auto* const center = ks::Platform::current().userNotificationCenter();
  if (center == nullptr) {
    schedulePlainNotification(*zone);
    return;
  }
  const KSProximityZoneContent& content = *zone->content();
  const auto icon = contentPathFromRemoteUrl(content.messageIconUrl, kIcon);
  const auto media = contentPathFromRemoteUrl(content.richMediaUrl, kMedia);

  ks::UNNotificationRequest request;
  request.identifier = each ? nextRequestIdentifier() : kRequestIdentifier;
  request.content.defaultSound = true;
  request.content.body = content.message.value_or("");
  request.content.userInfo = userInfoFor(*zone);
  auto& attachments = request.content.attachments;
  if (icon) attachments.push_back({std::string(kIcon), *icon, std::nullopt});
  if (media) attachments.push_back({std::string(kMedia), *media, icon.has_value()});
  request.trigger = {kDelay, false};
  center->addNotificationRequest(std::move(request),
                                 [icon, media](const std::optional<ks::Error>&) {
                                   remove(icon);
                                   remove(media);
                                 });
}

void showMessage(std::string title, std::string message) {
  ks::Platform::current().application().showAlertView({std::move(title), std::move(message), "OK"});
}

std::optional<std::filesystem::path> contentPathFromRemoteUrl(const std::optional<std::string>& url,
                                                              std::string_view filePrefix) {
  if (!url || url->empty()) return std::nullopt;
  const auto path = ks::NSFileManagerHelpers::tempFilePath(std::string(filePrefix) + "_" +
                                                           std::string(fileNameIn(*url)));
  std::error_code error;
  if (std::filesystem::exists(path, error)) return path;
  const auto data = ks::Platform::current().urlLoadingSystem().dataWithContentsOfURL({*url});
  if (!data || !ks::writeFileAtomically(path, *data)) return std::nullopt;
  return path;
}

}  // namespace KSContentNotifier
