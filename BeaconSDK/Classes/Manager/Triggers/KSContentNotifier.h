#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "BeaconSDK/Classes/Beacon/KSProximityZone.h"
#include "BeaconSDK/Classes/Settings/Refinements.h"
#include "BeaconSDK/Platform/Api/URLSession.h"

namespace ks {
class Platform;
}

/// Shows contents to the user, when the application wants that. The engine itself never does. Main
/// queue only.
class KSContentNotifier {
 public:
  /// Limits for the icon and the media of one notification together: what a desktop shows beside a
  /// line of text, and half of the time for which a system lets its main loop block.
  static constexpr ks::DataLimits kPictureLimits{10ULL * 1024 * 1024, ks::Seconds{10}};

  /// With `everyAnnouncement` each notification has an identifier of its own and replaces none.
  KSContentNotifier(ks::Platform& platform, const ks::Refinements& refinements)
      : platform_(platform), isEachKept_(refinements.everyAnnouncement) {}

  /// Shows the zone's message through the notification centre, replacing the earlier one, with the
  /// content's icon and media; without a centre, as a plain local notification. Waits for the
  /// files, within `kPictureLimits`; one that cannot be fetched is omitted. Does nothing for null
  /// or a zone without content.
  void showNotificationForProximityZone(const std::shared_ptr<KSProximityZone>& zone) const;
  /// As above without waiting: adds the notification on the main queue when the files have been
  /// fetched or have failed.
  void fetchAndShowNotificationForProximityZone(const std::shared_ptr<KSProximityZone>& zone) const;

  void showMessage(std::string title, std::string message) const;

  /// Returns the file of the temporary directory with the content of `url`, fetching it unless it
  /// is there; nothing for an empty URL or when it cannot be fetched, within `kPictureLimits`, or
  /// written. Waits for the transfer.
  std::optional<std::filesystem::path> contentPathFromRemoteUrl(
      const std::optional<std::string>& url, std::string_view filePrefix) const;

 private:
  ks::Platform& platform_;
  const bool isEachKept_;
};
