#pragma once

#include <atomic>
#include <functional>
#include <memory>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Location/Wakeup.h"

namespace ks {

/// Watches the machine's network: the system's network monitor, and beside it the kernel's own
/// reports of links, addresses and routes, because monitors without a network manager miss links
/// that lose their carrier. Made and destroyed on the main thread.
class NetworkChanges {
 public:
  /// What a network manager knows of the way to the internet beyond routes.
  enum class Connectivity { unknown, none, portal, full };

  /// `changed` runs on the main queue, once for a burst of reports.
  NetworkChanges(DispatchQueue& mainQueue, std::function<void()> changed);
  NetworkChanges(const NetworkChanges&) = delete;
  NetworkChanges& operator=(const NetworkChanges&) = delete;
  ~NetworkChanges();

  /// Any thread.
  Connectivity connectivity() const { return connectivity_; }

 private:
  struct Sources;
  void noteMonitor();
  void drainKernelReports();
  void announceSoon();

  DispatchQueue& mainQueue_;
  std::function<void()> changed_;
  std::atomic<Connectivity> connectivity_ = Connectivity::unknown;
  Wakeup announcement_;
  std::unique_ptr<Sources> sources_;
};

}  // namespace ks
