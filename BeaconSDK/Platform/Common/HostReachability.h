#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Api/SystemConfiguration.h"

namespace ks {

/// Reachability that the host sets, the same for every target; initially reachable. Transfers are
/// attempted whatever it says.
class HostReachability : public SystemConfiguration {
 public:
  explicit HostReachability(DispatchQueue& mainQueue);

  /// Refuses an empty name.
  std::shared_ptr<SCNetworkReachability> reachabilityWithName(const std::string& host) override;
  std::shared_ptr<SCNetworkReachability> reachabilityWithAddress(
      const SocketAddress& address) override;

  /// Sets the flags; absent: unknown. Scheduled watches are notified of a change on the main queue.
  /// Any thread.
  void setFlags(std::optional<SCNetworkReachabilityFlags> flags);

 protected:
  std::shared_ptr<SCNetworkReachability> makeWatch();
  /// Sets the function called before each reading of the flags, on the reading thread; may be null.
  void setReadingHook(std::function<void()> hook);

 private:
  class Watch;
  struct State;

  DispatchQueue& mainQueue_;
  std::shared_ptr<State> state_;
};

}  // namespace ks
