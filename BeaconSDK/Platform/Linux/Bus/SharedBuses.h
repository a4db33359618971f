#pragma once

#include <memory>

#include "BeaconSDK/Platform/Api/Foundation.h"

namespace ks {

/// Lets a program outlive its message buses. GLib's own parts, such as the network monitor, share
/// one connection per bus, and by default the end of that connection is the end of the process:
/// right for an application of a desktop session, wrong for a service. A program that wants to
/// stay keeps one of these. Main thread only.
class SharedBuses {
 public:
  explicit SharedBuses(DispatchQueue& mainQueue);
  SharedBuses(const SharedBuses&) = delete;
  SharedBuses& operator=(const SharedBuses&) = delete;
  ~SharedBuses();

 private:
  class Bus;
  std::shared_ptr<Bus> system_;
  std::shared_ptr<Bus> session_;
};

}  // namespace ks
