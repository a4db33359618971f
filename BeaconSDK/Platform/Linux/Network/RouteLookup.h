#pragma once

#include <sys/socket.h>

#include <filesystem>
#include <string>
#include <vector>

#include "BeaconSDK/Platform/Api/SystemConfiguration.h"

namespace ks {

/// A socket address of either family.
struct InternetAddress {
  sockaddr_storage storage{};
  socklen_t length = 0;
};
InternetAddress internetAddress(const SocketAddress& address);

/// What the kernel says of the way to addresses, right now: routes with their rules, and whether
/// the link they lead over is up and carries. Nothing is sent to the addresses. Any thread.
class RouteLookup {
 public:
  /// `systemNetworks` is "/sys/class/net", which tells what kind of link an interface is.
  explicit RouteLookup(std::filesystem::path systemNetworks);

  /// Reachable over a working link; direct without a gateway; cellular by the link's kind. 0 where
  /// there is no way.
  SCNetworkReachabilityFlags flagsTo(const InternetAddress& address) const;
  /// The way to the internet: to any address far away, by either family.
  SCNetworkReachabilityFlags flagsToInternet() const;
  /// Reachable and direct while a Wi-Fi link carries and has an IPv4 address.
  SCNetworkReachabilityFlags flagsOfLocalWiFi() const;

 private:
  bool isKind(const std::string& interface, const char* kind) const;

  std::filesystem::path networks_;
};

}  // namespace ks
