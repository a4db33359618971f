#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace ks {

/// Reachability of a target, as bits.
using SCNetworkReachabilityFlags = std::uint32_t;
inline constexpr SCNetworkReachabilityFlags kSCNetworkReachabilityFlagsReachable = 2;
inline constexpr SCNetworkReachabilityFlags kSCNetworkReachabilityFlagsConnectionRequired = 4;
inline constexpr SCNetworkReachabilityFlags kSCNetworkReachabilityFlagsConnectionOnTraffic = 8;
inline constexpr SCNetworkReachabilityFlags kSCNetworkReachabilityFlagsInterventionRequired = 16;
inline constexpr SCNetworkReachabilityFlags kSCNetworkReachabilityFlagsConnectionOnDemand = 32;
inline constexpr SCNetworkReachabilityFlags kSCNetworkReachabilityFlagsIsDirect = 131072;
inline constexpr SCNetworkReachabilityFlags kSCNetworkReachabilityFlagsIsWWAN = 262144;

/// An IPv4 socket address as the reachability service takes it.
struct SocketAddress {
  std::uint8_t length = 16;
  std::uint8_t family = 2;
  std::uint16_t port = 0;
  /// Host byte order: 169.254.0.0 is 0xA9FE0000.
  std::uint32_t address = 0;
};

/// Watches one target. The flags may be read on any thread; call the other operations on one
/// thread.
class SCNetworkReachability {
 public:
  virtual ~SCNetworkReachability() = default;
  /// Returns the current flags, or nothing if they are unknown. May block on a name look-up.
  virtual std::optional<SCNetworkReachabilityFlags> getFlags() = 0;
  /// Sets the function called on the main queue on each change while scheduled; may be null.
  virtual bool setCallback(std::function<void(SCNetworkReachabilityFlags)> callback) = 0;
  virtual bool schedule() = 0;
  virtual void unschedule() = 0;
};

/// Creates watches; returns null if the system refuses the target. Any thread.
class SystemConfiguration {
 public:
  virtual ~SystemConfiguration() = default;
  virtual std::shared_ptr<SCNetworkReachability> reachabilityWithName(const std::string& host) = 0;
  virtual std::shared_ptr<SCNetworkReachability> reachabilityWithAddress(
      const SocketAddress& address) = 0;
};

}  // namespace ks
