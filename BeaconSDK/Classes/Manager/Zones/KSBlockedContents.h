#pragma once

#include <string_view>

#include "BeaconSDK/Classes/Beacon/Content/KSProximityZoneContent.h"
#include "BeaconSDK/Classes/Manager/Zones/KSCacheFile.h"
#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Api/Value.h"

/// Until when each fired content is blocked, by content identifier; survives restarts and resets in
/// "blockedContents.dat".
class KSBlockedContents {
 public:
  KSBlockedContents(ks::Platform& platform, const KSObserverSlot& observer, const ks::Clock& clock);

  /// Reads the file, drops what has run out, and writes it back when there was one.
  void loadBlockedContents() { file_.load(); }
  /// Drops what has run out and saves when this turn of the main queue has ended.
  void saveBlockedContents() { file_.saveSoon(); }

  /// Remembers the content's own date and saves: before the application is told, when that is told
  /// in a later turn. A content without an identifier is not kept.
  void block(const KSProximityZoneContent& content);
  /// Gives `content`, which may be null, the date held for its identifier, if there is one.
  void applyTo(KSProximityZoneContent* content);
  /// Writes nothing any more.
  void forgetHeld() { file_.discard(); }

 private:
  ks::Value withoutExpired();
  void restore(const ks::Value& stored);

  const ks::Clock& clock_;
  ks::Dictionary blockedContents_;
  KSCacheFile file_;
};
