#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "BeaconSDK/Classes/Beacon/KSProximityZone.h"

/// Shows contents to the user, when the application wants that. The engine itself never does. Main
/// queue only.
namespace KSContentNotifier {

/// Shows the zone's message through the notification centre, replacing the earlier one, with the
/// content's icon and media; where there is no centre, as a plain local notification. A file that
/// cannot be fetched is left out. Nothing for null or a zone without content. With `each` the
/// request has an identifier of its own and replaces none.
void showNotificationForProximityZone(const std::shared_ptr<KSProximityZone>& zone,
                                      bool each = false);

void showMessage(std::string title, std::string message);

/// The file of the temporary directory that holds what `url` names, fetched unless it is there
/// already; nothing for an empty URL or when it cannot be fetched or written. Waits for the
/// transfer.
std::optional<std::filesystem::path> contentPathFromRemoteUrl(const std::optional<std::string>& url,
                                                              std::string_view filePrefix);

}  // namespace KSContentNotifier
