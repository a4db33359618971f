#include "BeaconSDK/Classes/Common/Reachability/KSReachability.h"

#include <optional>
#include <utility>

#include "BeaconSDK/Platform/Api/Platform.h"
#include "BeaconSDK/Platform/Api/Property.h"

namespace {

/// Long enough for a name look-up that works, short enough for a caller on the main queue.
constexpr ks::Seconds kReadLimit{0.5};
/// 169.254.0.0, the network of link-local addresses.
constexpr std::uint32_t kLinkLocalNetwork = 0xA9FE0000;

bool has(ks::SCNetworkReachabilityFlags flags, ks::SCNetworkReachabilityFlags wanted) {
  return (flags & wanted) == wanted;
}

}  // namespace

const ks::Class KSReachability::kClass{kClassName, nullptr, nullptr, {}};

void PrintReachabilityFlags(ks::SCNetworkReachabilityFlags /*flags*/, const char* /*comment*/) {}

KSReachability::KSReachability(Key, ks::Platform& platform,
                               std::shared_ptr<ks::SCNetworkReachability> handle)
    : platform_(platform), reachabilityRef_(std::move(handle)) {}

std::shared_ptr<KSReachability> KSReachability::make(
    ks::Platform& platform, std::shared_ptr<ks::SCNetworkReachability> handle) {
  if (!handle) return nullptr;
  return std::make_shared<KSReachability>(Key{}, platform, std::move(handle));
}

std::shared_ptr<KSReachability> KSReachability::reachabilityWithHostName(
    const std::string& hostName) {
  auto& platform = ks::Platform::current();
  return make(platform, platform.systemConfiguration().reachabilityWithName(hostName));
}

std::shared_ptr<KSReachability> KSReachability::reachabilityWithAddress(
    const ks::SocketAddress& address) {
  auto& platform = ks::Platform::current();
  return make(platform, platform.systemConfiguration().reachabilityWithAddress(address));
}

std::shared_ptr<KSReachability> KSReachability::reachabilityForInternetConnection() {
  return reachabilityWithAddress({});
}

std::shared_ptr<KSReachability> KSReachability::reachabilityForLocalWiFi() {
  auto reachability = reachabilityWithAddress({.address = kLinkLocalNetwork});
  if (reachability) reachability->localWiFiRef_ = true;
  return reachability;
}

KSReachability::~KSReachability() { stopNotifer(); }

bool KSReachability::startNotifer() {
  const auto post = [weakSelf = weak_from_this(),
                     &center = platform_.notificationCenter()](ks::SCNetworkReachabilityFlags) {
    const auto self = weakSelf.lock();
    if (!self) return;
    center.post({KSkNetworkReachabilityChangedNotification, self, {}});
  };
  return reachabilityRef_->setCallback(post) && reachabilityRef_->schedule();
}

void KSReachability::stopNotifer() { reachabilityRef_->unschedule(); }

bool KSReachability::connectionRequired() const {
  const auto flags = reachabilityRef_->getFlags();
  return flags && has(*flags, ks::kSCNetworkReachabilityFlagsConnectionRequired);
}

ks::NetworkStatus KSReachability::currentReachabilityStatus() const {
  // Shared with the read, which may end after its caller went on.
  const auto flags = std::make_shared<std::optional<ks::SCNetworkReachabilityFlags>>();
  const bool inTime = platform_.globalQueue().syncFor(
      [flags, handle = reachabilityRef_] { *flags = handle->getFlags(); }, kReadLimit);
  if (!inTime || !*flags) return ks::NetworkStatus::notReachable;
  return localWiFiRef_ ? localWiFiStatusForFlags(**flags) : networkStatusForFlags(**flags);
}

ks::NetworkStatus KSReachability::networkStatusForFlags(
    ks::SCNetworkReachabilityFlags flags) const {
  PrintReachabilityFlags(flags, "networkStatusForFlags");
  if (!has(flags, ks::kSCNetworkReachabilityFlagsReachable)) return ks::NetworkStatus::notReachable;
  const bool connectsByItself = (has(flags, ks::kSCNetworkReachabilityFlagsConnectionOnDemand) ||
                                 has(flags, ks::kSCNetworkReachabilityFlagsConnectionOnTraffic)) &&
                                !has(flags, ks::kSCNetworkReachabilityFlagsInterventionRequired);
  const bool isReachable = !has(flags, ks::kSCNetworkReachabilityFlagsConnectionRequired) ||
                           connectsByItself || has(flags, ks::kSCNetworkReachabilityFlagsIsWWAN);
  return isReachable ? ks::NetworkStatus::reachable : ks::NetworkStatus::notReachable;
}

ks::NetworkStatus KSReachability::localWiFiStatusForFlags(
    ks::SCNetworkReachabilityFlags flags) const {
  PrintReachabilityFlags(flags, "localWiFiStatusForFlags");
  const bool isReachable = has(
      flags, ks::kSCNetworkReachabilityFlagsReachable | ks::kSCNetworkReachabilityFlagsIsDirect);
  return isReachable ? ks::NetworkStatus::reachable : ks::NetworkStatus::notReachable;
}
