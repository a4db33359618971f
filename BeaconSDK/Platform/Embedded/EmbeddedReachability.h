#pragma once

#include <memory>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Api/SystemConfiguration.h"

namespace ks {

/// The network as the host says it is, alike for every target; reachable at first. Transfers are
/// attempted whatever it says.
class EmbeddedReachability : public SystemConfiguration {
 public:
  explicit EmbeddedReachability(DispatchQueue& mainQueue);

  std::shared_ptr<SCNetworkReachability> reachabilityWithName(const std::string& host) override;
  std::shared_ptr<SCNetworkReachability> reachabilityWithAddress(
      const SocketAddress& address) override;

  /// Scheduled watches are notified of a change. Any thread.
  void setFlags(SCNetworkReachabilityFlags flags);

 private:
  class Watch;
  struct State;
  std::shared_ptr<SCNetworkReachability> makeWatch();

  DispatchQueue& mainQueue_;
  std::shared_ptr<State> state_;
};

}  // namespace ks
