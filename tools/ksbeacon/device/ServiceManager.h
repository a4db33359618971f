#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "BeaconSDK/Platform/Api/Date.h"

namespace ks::tool {

/// The service manager that started this process, told how it is through the datagram socket
/// `$NOTIFY_SOCKET`. Without one everything is left unsaid.
class ServiceManager {
 public:
  ServiceManager();

  /// The process does its work from now on.
  void ready() const { notify("READY=1"); }
  /// It reads everything anew; `ready` ends that.
  void reloading() const;
  void stopping() const { notify("STOPPING=1"); }
  void alive() const { notify("WATCHDOG=1"); }
  /// One line on what it does, for whoever asks the service manager.
  void status(std::string_view text) const { notify("STATUS=" + std::string(text)); }

  /// `alive` must be told this often: half the time after which the service manager gives the
  /// process up. Absent when it does not watch.
  std::optional<Seconds> watchInterval() const { return watchInterval_; }

 private:
  void notify(std::string_view message) const;

  std::string socket_;
  std::optional<Seconds> watchInterval_;
};

}  // namespace ks::tool
