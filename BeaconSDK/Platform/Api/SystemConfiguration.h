#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace ks {

/// What the system knows of the way to a target, as bits.
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

/// The watch on one target. Flags may be read on any thread; the rest belongs to one thread.
class SCNetworkReachability {
 public:
  virtual ~SCNetworkReachability() = default;
  /// The flags now, or nothing when they are unknown. May block on a name look-up.
  virtual std::optional<SCNetworkReachabilityFlags> getFlags() = 0;
  /// Called on each change while scheduled, on the main queue; null for none.
  virtual bool setCallback(std::function<void(SCNetworkReachabilityFlags)> callback) = 0;
  virtual bool schedule() = 0;
  virtual void unschedule() = 0;
};

/// Makes watches; null when the system refuses the target. Any thread.
class SystemConfiguration {
 public:
  virtual ~SystemConfiguration() = default;
  virtual std::shared_ptr<SCNetworkReachability> reachabilityWithName(const std::string& host) = 0;
  virtual std::shared_ptr<SCNetworkReachability> reachabilityWithAddress(
      const SocketAddress& address) = 0;
};

}  // namespace ks
