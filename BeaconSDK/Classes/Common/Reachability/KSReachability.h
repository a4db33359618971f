#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "BeaconSDK/Platform/Api/Object.h"
#include "BeaconSDK/Platform/Api/SystemConfiguration.h"

/// Posted with the `KSReachability` as object when the reachability of its target changes.
inline constexpr const char* KSkNetworkReachabilityChangedNotification =
    "KSkNetworkReachabilityChangedNotification";

namespace ks {

class Platform;

/// Wi-Fi and cellular are not distinguished.
enum class NetworkStatus : std::int32_t { notReachable = 0, reachable = 1 };

}  // namespace ks

/// Receives the flags of each status decision; prints nothing.
void PrintReachabilityFlags(ks::SCNetworkReachabilityFlags flags, const char* comment);

/// Reports whether a host, the internet or the local Wi-Fi link is reachable, and when that
/// changes.
class KSReachability : public ks::Object {
 public:
  static constexpr const char* kClassName = "KSReachability";
  static const ks::Class kClass;

  /// Null when the platform refuses the target.
  static std::shared_ptr<KSReachability> reachabilityWithHostName(const std::string& hostName);
  static std::shared_ptr<KSReachability> reachabilityWithAddress(const ks::SocketAddress& address);
  static std::shared_ptr<KSReachability> reachabilityForInternetConnection();
  static std::shared_ptr<KSReachability> reachabilityForLocalWiFi();
  ~KSReachability() override;

  /// Starts posting a notification on every change; false if the platform cannot report changes.
  /// Call start and stop on the same thread.
  bool startNotifer();
  void stopNotifer();

  /// False also when the flags cannot be read.
  bool connectionRequired() const;
  /// Reads the flags on the global queue, waiting at most 500 ms; returns not reachable on timeout.
  ks::NetworkStatus currentReachabilityStatus() const;
  ks::NetworkStatus networkStatusForFlags(ks::SCNetworkReachabilityFlags flags) const;
  ks::NetworkStatus localWiFiStatusForFlags(ks::SCNetworkReachabilityFlags flags) const;

  /// True when the target is the local Wi-Fi link.
  bool localWiFiRef() const { return localWiFiRef_; }
  const ks::Class& objectClass() const override { return kClass; }

 private:
  struct Key {};

 public:
  /// For the factories alone.
  KSReachability(Key, ks::Platform& platform, std::shared_ptr<ks::SCNetworkReachability> handle);

 private:
  static std::shared_ptr<KSReachability> make(ks::Platform& platform,
                                              std::shared_ptr<ks::SCNetworkReachability> handle);

  ks::Platform& platform_;
  bool localWiFiRef_ = false;
  /// Never null.
  const std::shared_ptr<ks::SCNetworkReachability> reachabilityRef_;
};
