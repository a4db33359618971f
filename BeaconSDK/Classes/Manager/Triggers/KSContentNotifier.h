#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "BeaconSDK/Classes/Beacon/KSProximityZone.h"
#include "BeaconSDK/Platform/Api/URLSession.h"

/// Shows contents to the user, when the application wants that. The engine itself never does. Main
/// queue only.
namespace KSContentNotifier {

/// What the icon and the media of one notification may cost together: what a desktop shows beside
/// a line of text, and half of what a system allows its main loop to be silent at the most.
inline constexpr ks::DataLimits kPictureLimits{10ULL * 1024 * 1024, ks::Seconds{10}};

/// Shows the zone's message through the notification centre, replacing the earlier one, with the
/// content's icon and media; where there is no centre, as a plain local notification. Waits for the
/// files, within `kPictureLimits`; one that cannot be fetched is left out. Nothing for null or a
/// zone without content. With `each` the request has an identifier of its own and replaces none.
void showNotificationForProximityZone(const std::shared_ptr<KSProximityZone>& zone,
                                      bool each = false);
/// The same without waiting: the notification is added on the main queue when the files have come
/// or are given up.
void fetchAndShowNotificationForProximityZone(const std::shared_ptr<KSProximityZone>& zone,
                                              bool each = false);

void showMessage(std::string title, std::string message);

/// The file of the temporary directory that holds what `url` names, fetched unless it is there
/// already; nothing for an empty URL or when it cannot be fetched, within `kPictureLimits`, or
/// written. Waits for the transfer.
std::optional<std::filesystem::path> contentPathFromRemoteUrl(const std::optional<std::string>& url,
                                                              std::string_view filePrefix);

}  // namespace KSContentNotifier
