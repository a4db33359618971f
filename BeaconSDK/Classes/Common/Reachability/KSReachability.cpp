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

std::shared_ptr<KSReachability> KSReachability::make(
    std::shared_ptr<ks::SCNetworkReachability> handle) {
  if (!handle) return nullptr;
  auto reachability = std::make_shared<KSReachability>();
  reachability->reachabilityRef_ = std::move(handle);
  return reachability;
}

std::shared_ptr<KSReachability> KSReachability::reachabilityWithHostName(
    const std::string& hostName) {
  return make(ks::Platform::current().systemConfiguration().reachabilityWithName(hostName));
}

std::shared_ptr<KSReachability> KSReachability::reachabilityWithAddress(
    const ks::SocketAddress& address) {
  return make(ks::Platform::current().systemConfiguration().reachabilityWithAddress(address));
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
  if (!reachabilityRef_) return false;
  const auto post = [weakSelf = weak_from_this()](ks::SCNetworkReachabilityFlags) {
    const auto self = weakSelf.lock();
    if (!self) return;
    ks::Platform::current().notificationCenter().post(
        {KSkNetworkReachabilityChangedNotification, self, {}});
  };
  return reachabilityRef_->setCallback(post) && reachabilityRef_->schedule();
}

void KSReachability::stopNotifer() {
  if (reachabilityRef_) reachabilityRef_->unschedule();
}

bool KSReachability::connectionRequired() const {
  const auto flags = reachabilityRef_ ? reachabilityRef_->getFlags() : std::nullopt;
  return flags && has(*flags, ks::kSCNetworkReachabilityFlagsConnectionRequired);
}

KSNetworkStatus KSReachability::currentReachabilityStatus() const {
  if (!reachabilityRef_) return KSNetworkStatus::notReachable;
  // Shared with the read, which may end after its caller went on.
  const auto flags = std::make_shared<std::optional<ks::SCNetworkReachabilityFlags>>();
  const bool inTime = ks::Platform::current().globalQueue().syncFor(
      [flags, handle = reachabilityRef_] { *flags = handle->getFlags(); }, kReadLimit);
  if (!inTime || !*flags) return KSNetworkStatus::notReachable;
  return localWiFiRef_ ? localWiFiStatusForFlags(**flags) : networkStatusForFlags(**flags);
}

KSNetworkStatus KSReachability::networkStatusForFlags(ks::SCNetworkReachabilityFlags flags) const {
  PrintReachabilityFlags(flags, "networkStatusForFlags");
  if (!has(flags, ks::kSCNetworkReachabilityFlagsReachable)) return KSNetworkStatus::notReachable;
  const bool connectsByItself = (has(flags, ks::kSCNetworkReachabilityFlagsConnectionOnDemand) ||
                                 has(flags, ks::kSCNetworkReachabilityFlagsConnectionOnTraffic)) &&
                                !has(flags, ks::kSCNetworkReachabilityFlagsInterventionRequired);
  const bool isReachable = !has(flags, ks::kSCNetworkReachabilityFlagsConnectionRequired) ||
                           connectsByItself || has(flags, ks::kSCNetworkReachabilityFlagsIsWWAN);
  return isReachable ? KSNetworkStatus::reachable : KSNetworkStatus::notReachable;
}

KSNetworkStatus KSReachability::localWiFiStatusForFlags(
    ks::SCNetworkReachabilityFlags flags) const {
  PrintReachabilityFlags(flags, "localWiFiStatusForFlags");
  const bool isReachable = has(
      flags, ks::kSCNetworkReachabilityFlagsReachable | ks::kSCNetworkReachabilityFlagsIsDirect);
  return isReachable ? KSNetworkStatus::reachable : KSNetworkStatus::notReachable;
}
