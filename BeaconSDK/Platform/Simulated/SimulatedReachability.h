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

/// The network as a test says it is; at first reachable for every target.
class SimulatedReachability : public SystemConfiguration {
 public:
  SimulatedReachability(SimulatedLoop& loop, DispatchQueue& mainQueue);
  ~SimulatedReachability() override;

  std::shared_ptr<SCNetworkReachability> reachabilityWithName(const std::string& host) override;
  std::shared_ptr<SCNetworkReachability> reachabilityWithAddress(
      const SocketAddress& address) override;

  /// Nothing: the flags are unknown. Scheduled watches are notified of a change on the main queue.
  /// Main queue only.
  void setFlags(std::optional<SCNetworkReachabilityFlags> flags);
  /// How long reading the flags keeps its caller waiting, in virtual time.
  void setDelay(Seconds delay);
  /// Whether new watches are refused.
  void setRefusesTargets(bool flag);
  /// The targets requested so far, in order: host names, and addresses as "169.254.0.0".
  std::vector<std::string> targets() const;

 private:
  class Watch;
  struct State;

  std::shared_ptr<SCNetworkReachability> makeWatch(std::string target);

  DispatchQueue& mainQueue_;
  std::shared_ptr<State> state_;
};

}  // namespace ks
