#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Common/HostReachability.h"
#include "BeaconSDK/Platform/Simulated/SimulatedLoop.h"

namespace ks {

/// Reachability as set by a test; initially every target is reachable. Any thread.
class SimulatedReachability : public HostReachability {
 public:
  SimulatedReachability(SimulatedLoop& loop, DispatchQueue& mainQueue)
      : HostReachability(mainQueue), loop_(loop) {}
  ~SimulatedReachability() override { setReadingHook(nullptr); }

  std::shared_ptr<SCNetworkReachability> reachabilityWithName(const std::string& host) override;
  std::shared_ptr<SCNetworkReachability> reachabilityWithAddress(
      const SocketAddress& address) override;

  /// Sets how long reading the flags blocks its caller, in virtual time.
  void setDelay(Seconds delay);
  /// Whether new watches are refused.
  void setRefusesTargets(bool flag);
  /// Returns the targets requested so far, in order: host names, and addresses as "169.254.0.0".
  std::vector<std::string> targets() const;

 private:
  std::shared_ptr<SCNetworkReachability> makeWatchOf(std::string target);

  SimulatedLoop& loop_;
  mutable std::mutex mutex_;
  bool refuses_ = false;
  std::vector<std::string> targets_;
};

}  // namespace ks
