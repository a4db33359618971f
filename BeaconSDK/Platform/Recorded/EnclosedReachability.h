#pragma once

#include <cstdint>
#include <map>
#include <memory>

#include "BeaconSDK/Platform/Api/SystemConfiguration.h"
#include "BeaconSDK/Platform/Recorded/Outside.h"

namespace ks {

/// Reachability of an enclosed device, from the watches of the real one. Main queue only.
class EnclosedReachability : public SystemConfiguration {
 public:
  EnclosedReachability(Outside& outside, std::shared_ptr<OutsideLink> link)
      : outside_(outside), link_(std::move(link)) {}

  std::shared_ptr<SCNetworkReachability> reachabilityWithName(const std::string& host) override;
  std::shared_ptr<SCNetworkReachability> reachabilityWithAddress(
      const SocketAddress& address) override;
  /// Delivers a change of the flags, in a task of `queue`.
  void deliver(const RecordedEvent& event, DispatchQueue& queue);

 private:
  class Watch;
  using Make = std::function<std::shared_ptr<SCNetworkReachability>(SystemConfiguration&)>;

  std::shared_ptr<SCNetworkReachability> add(const Make& make);

  Outside& outside_;
  std::shared_ptr<OutsideLink> link_;
  std::uint64_t last_ = 0;
  std::map<std::uint64_t, std::weak_ptr<Watch>> watches_;
};

}  // namespace ks
