#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "BeaconSDK/Platform/Api/Object.h"
#include "BeaconSDK/Platform/Api/SystemConfiguration.h"

/// Posted, with the `KSReachability` as object, whenever the way to its target changes.
inline constexpr const char* KSkNetworkReachabilityChangedNotification =
    "KSkNetworkReachabilityChangedNotification";

namespace ks {

class Platform;

/// Wi-Fi and cellular are not distinguished.
enum class NetworkStatus : std::int32_t { notReachable = 0, reachable = 1 };

}  // namespace ks

/// Receives the flags of each status decision; prints nothing.
void PrintReachabilityFlags(ks::SCNetworkReachabilityFlags flags, const char* comment);

/// Can a host, the internet or the local Wi-Fi link be reached, and when does that change?
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

  /// Posts a notification on every change from now on; false when the platform cannot report them.
  /// Start and stop belong to one thread.
  bool startNotifer();
  void stopNotifer();

  /// False also when the flags cannot be read.
  bool connectionRequired() const;
  /// Reads the flags on the global queue and waits for them at most 500 ms; not reachable when they
  /// do not come in time.
  ks::NetworkStatus currentReachabilityStatus() const;
  ks::NetworkStatus networkStatusForFlags(ks::SCNetworkReachabilityFlags flags) const;
  ks::NetworkStatus localWiFiStatusForFlags(ks::SCNetworkReachabilityFlags flags) const;

  /// The target is the local Wi-Fi link.
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
