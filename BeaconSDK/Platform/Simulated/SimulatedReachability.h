#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Api/SystemConfiguration.h"
#include "BeaconSDK/Platform/Simulated/SimulatedLoop.h"

namespace ks {

/// Reachability as set by a test; initially every target is reachable.
class SimulatedReachability : public SystemConfiguration {
 public:
  SimulatedReachability(SimulatedLoop& loop, DispatchQueue& mainQueue);
  ~SimulatedReachability() override;

  std::shared_ptr<SCNetworkReachability> reachabilityWithName(const std::string& host) override;
  std::shared_ptr<SCNetworkReachability> reachabilityWithAddress(
      const SocketAddress& address) override;

  /// Sets the flags; absent: unknown. Scheduled watches are notified of a change on the main queue.
  /// Main queue only.
  void setFlags(std::optional<SCNetworkReachabilityFlags> flags);
  /// Sets how long reading the flags blocks its caller, in virtual time.
  void setDelay(Seconds delay);
  /// Whether new watches are refused.
  void setRefusesTargets(bool flag);
  /// Returns the targets requested so far, in order: host names, and addresses as "169.254.0.0".
  std::vector<std::string> targets() const;

 private:
  class Watch;
  struct State;

  std::shared_ptr<SCNetworkReachability> makeWatch(std::string target);

  DispatchQueue& mainQueue_;
  std::shared_ptr<State> state_;
};

}  // namespace ks
