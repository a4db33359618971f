#pragma once

#include <functional>
#include <memory>
#include <string>

#include "BeaconSDK/Platform/Linux/Bus/BusService.h"
#include "BeaconSDK/Platform/Linux/Bus/ServiceState.h"

namespace ks {

/// The user's session and the machine's sleep, as the login service (org.freedesktop.login1) tells
/// of them. Without the service, or outside of any session, the session counts as unlocked and the
/// machine as awake. Main thread only.
class SessionEvents {
 public:
  struct Listener {
    std::function<void()> lockChanged;
    std::function<void()> sleepChanged;
    /// The service came or went.
    std::function<void()> presenceChanged;
  };
  SessionEvents(DispatchQueue& mainQueue, Listener listener);

  bool isLocked() const { return locked_; }
  bool isAsleep() const { return asleep_; }
  BusService& service() { return service_; }
  ServiceState state() const;

 private:
  void presenceChanged(bool present);
  void findSession();
  void findDisplaySession();
  void useSession(std::string path);
  void readProperty(const std::string& path, const char* interface, const char* property,
                    void (SessionEvents::*set)(bool));
  void setLocked(bool locked);
  void setAsleep(bool asleep);

  Listener listener_;
  bool locked_ = false;
  bool asleep_ = false;
  /// Empty outside of any session.
  std::string session_;
  BusService service_;
};

}  // namespace ks
