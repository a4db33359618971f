#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Linux/Bus/RetryPause.h"
#include "BeaconSDK/Platform/Linux/Positions/PositionReport.h"
#include "BeaconSDK/Platform/Location/Wakeup.h"

namespace ks {

/// The port that is registered for the daemon.
inline constexpr std::uint16_t kGpsdPort = 2947;

/// A client of the satellite receiver daemon gpsd on this machine.
///
/// Connected only while positions are wanted. Without a daemon, or with one that does not speak its
/// protocol, the next attempt comes after 1 s, doubled up to a minute. Main thread only; nothing
/// blocks.
class Gpsd {
 public:
  Gpsd(DispatchQueue& queue, std::uint16_t port, PositionSourceListener listener);
  Gpsd(const Gpsd&) = delete;
  Gpsd& operator=(const Gpsd&) = delete;
  ~Gpsd();

  /// Not from within a callback.
  void setWanted(bool wanted);
  const PositionSourceStatus& status() const { return status_; }

 private:
  class Connection;

  void connect();
  void disconnect();
  void failed(std::string detail);
  void lineArrived(std::string_view line);
  void setStatus(PositionSourceStatus status);

  DispatchQueue& queue_;
  const std::uint16_t port_;
  PositionSourceListener listener_;
  PositionSourceStatus status_;
  std::shared_ptr<Connection> connection_;
  /// The daemon has introduced itself.
  bool introduced_ = false;
  bool saidUnreadable_ = false;
  RetryPause retryPause_;
  Wakeup retry_;
  Wakeup patience_;
};

}  // namespace ks
