#pragma once

#include <functional>
#include <string>

#include "BeaconSDK/Platform/Linux/Bus/BusService.h"

namespace ks {

/// Keeps the machine from going to sleep while somebody wants it awake, by a lock of the login
/// service; where the user may not block sleep, the lock delays it. Main thread only.
class SleepInhibitor {
 public:
  /// Where the lock is refused, `refused` is told once until it is granted again.
  SleepInhibitor(BusService& login, std::string applicationName,
                 std::function<void(const std::string& reason)> refused);
  SleepInhibitor(const SleepInhibitor&) = delete;
  SleepInhibitor& operator=(const SleepInhibitor&) = delete;
  ~SleepInhibitor() { release(); }

  void setWanted(bool wanted);
  bool isHeld() const { return lock_ >= 0; }
  /// The login service came or went, and with it the lock.
  void servicePresenceChanged();

 private:
  void take(const char* mode);
  void taken(const char* mode, GUnixFDList* descriptors, const GError* error);
  void release();

  BusService& login_;
  std::string applicationName_;
  std::function<void(const std::string&)> refused_;
  bool wanted_ = false;
  bool asking_ = false;
  bool toldOfRefusal_ = false;
  int lock_ = -1;
};

}  // namespace ks
