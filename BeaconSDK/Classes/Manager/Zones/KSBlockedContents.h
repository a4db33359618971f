#pragma once

#include <string_view>

#include "BeaconSDK/Classes/Beacon/Content/KSProximityZoneContent.h"
#include "BeaconSDK/Classes/Manager/Zones/KSCacheFile.h"
#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Api/Value.h"

/// The date until which each fired content is blocked, by content identifier; stored in
/// "blockedContents.dat" across restarts and resets.
class KSBlockedContents {
 public:
  KSBlockedContents(ks::Platform& platform, const KSObserverSlot& observer, const ks::Clock& clock);

  /// Reads the file, drops expired entries, and writes it back when there was one.
  void loadBlockedContents() { file_.load(); }
  /// Drops expired entries and saves at the end of this turn of the main queue.
  void saveBlockedContents() { file_.saveSoon(); }

  /// Stores the content's own date and saves: before the application is notified, if that happens
  /// in a later turn. A content without an identifier is not stored.
  void block(const KSProximityZoneContent& content);
  /// Sets the stored date, if there is one, on `content`, which may be null.
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
