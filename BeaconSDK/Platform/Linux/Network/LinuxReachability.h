#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Api/SystemConfiguration.h"
#include "BeaconSDK/Platform/Linux/Bus/ServiceState.h"
#include "BeaconSDK/Platform/Linux/Network/NameLookup.h"

namespace ks {

/// The flags of each kind of target:
/// - the address 0.0.0.0, the internet: reachable over a route far away whose link carries, unless
///   the machine's network manager says that there is none; behind a sign-in page reachable with
///   connection and intervention required; cellular by the link;
/// - the network 169.254.0.0, the local Wi-Fi: reachable and direct while a Wi-Fi link carries;
/// - any other address: reachable by its route, direct without a gateway;
/// - a name: the same for the first of its addresses that is reachable; 0 when there is no such
///   name; nothing while its look-up takes longer than 0.4 s.
///
/// The network is watched from the first target on.
class LinuxReachability : public SystemConfiguration {
 public:
  /// `systemNetworks` is "/sys/class/net". On the main thread.
  LinuxReachability(DispatchQueue& mainQueue, const std::filesystem::path& systemNetworks,
                    NameLookup::Resolver resolver = NameLookup::resolve);
  LinuxReachability(const LinuxReachability&) = delete;
  LinuxReachability& operator=(const LinuxReachability&) = delete;
  /// On the main thread. Watches may live on and then read without a network manager's help.
  ~LinuxReachability() override;

  /// Refuses what cannot be the name of a host.
  std::shared_ptr<SCNetworkReachability> reachabilityWithName(const std::string& host) override;
  std::shared_ptr<SCNetworkReachability> reachabilityWithAddress(
      const SocketAddress& address) override;

  /// Of the way to the internet, right now; a portal nearby may answer without one. Any thread.
  ServiceState state() const;

 private:
  class Watch;
  class Network;
  std::shared_ptr<Network> network_;
  NameLookup::Resolver resolver_;
};

}  // namespace ks
