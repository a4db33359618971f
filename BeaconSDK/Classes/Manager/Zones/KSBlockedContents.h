#pragma once

#include <string_view>

#include "BeaconSDK/Classes/Beacon/Content/KSProximityZoneContent.h"
#include "BeaconSDK/Classes/Manager/Zones/KSCacheFolder.h"
#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Api/Value.h"

/// Until when each fired content is blocked, by content identifier; survives restarts and resets in
/// "blockedContents.dat".
class KSBlockedContents {
 public:
  KSBlockedContents(const KSCacheFolder& folder, const ks::Clock& clock)
      : folder_(folder), clock_(clock) {}

  /// Reads the file, drops what has run out, and writes it back when there was one.
  void loadBlockedContents();
  void saveBlockedContents() const;

  /// Remembers the content's own date and saves. A content without an identifier is not kept.
  void block(const KSProximityZoneContent& content);
  /// Gives `content`, which may be null, the date held for its identifier, if there is one.
  void applyTo(KSProximityZoneContent* content) const;

 private:
  const KSCacheFolder& folder_;
  const ks::Clock& clock_;
  ks::Dictionary blockedContents_;
};
