#include "BeaconSDK/Platform/Linux/Network/RouteLookup.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <memory>
#include <optional>
#include <system_error>

#include "BeaconSDK/Platform/Linux/Machine/SystemFile.h"

namespace ks {

namespace {

/// The kernel answers within the call; the limit only guards against a fault of ours.
constexpr timeval kAnswerLimit{.tv_sec = 0, .tv_usec = 200'000};
/// Addresses of a root name server: they are certainly far away, and are never contacted.
constexpr const char* kFarAway4 = "198.41.0.4";
constexpr const char* kFarAway6 = "2001:503:ba3e::2:30";

struct Route {
  unsigned interface = 0;
  bool hasGateway = false;
};

class Socket {
 public:
  Socket(int domain, int type, int protocol) : number_(::socket(domain, type, protocol)) {}
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;
  ~Socket() {
    if (number_ >= 0) ::close(number_);
  }
  int get() const { return number_; }

 private:
  int number_;
};

struct RouteRequest {
  nlmsghdr header{};
  rtmsg route{};
  std::array<std::uint8_t, RTA_SPACE(sizeof(in6_addr))> destination{};
};

RouteRequest requestFor(const InternetAddress& address) {
  const bool isSix = address.storage.ss_family == AF_INET6;
  const void* const bytes =
      isSix ? static_cast<const void*>(
                  &reinterpret_cast<const sockaddr_in6*>(&address.storage)->sin6_addr)
            : &reinterpret_cast<const sockaddr_in*>(&address.storage)->sin_addr;
  const std::size_t size = isSix ? sizeof(in6_addr) : sizeof(in_addr);
  RouteRequest request;
  request.header.nlmsg_len =
      static_cast<std::uint32_t>(NLMSG_LENGTH(sizeof(rtmsg)) + RTA_SPACE(size));
  request.header.nlmsg_type = RTM_GETROUTE;
  request.header.nlmsg_flags = NLM_F_REQUEST;
  request.route.rtm_family = static_cast<unsigned char>(address.storage.ss_family);
  request.route.rtm_dst_len = static_cast<unsigned char>(size * 8);
  const rtattr attribute{.rta_len = static_cast<unsigned short>(RTA_LENGTH(size)),
                         .rta_type = RTA_DST};
  std::memcpy(request.destination.data(), &attribute, sizeof(attribute));
  std::memcpy(request.destination.data() + RTA_LENGTH(0), bytes, size);
  return request;
}

std::optional<Route> routeIn(const std::uint8_t* bytes, std::size_t size) {
  nlmsghdr header{};
  rtmsg message{};
  if (size < NLMSG_LENGTH(sizeof(message))) return std::nullopt;
  std::memcpy(&header, bytes, sizeof(header));
  if (header.nlmsg_type != RTM_NEWROUTE || header.nlmsg_len > size) return std::nullopt;
  std::memcpy(&message, bytes + NLMSG_HDRLEN, sizeof(message));
  if (message.rtm_type != RTN_UNICAST && message.rtm_type != RTN_LOCAL) return std::nullopt;
  Route route;
  std::size_t place = NLMSG_LENGTH(sizeof(message));
  while (place + sizeof(rtattr) <= header.nlmsg_len) {
    rtattr attribute{};
    std::memcpy(&attribute, bytes + place, sizeof(attribute));
    if (attribute.rta_len < sizeof(attribute)) break;
    if (attribute.rta_type == RTA_GATEWAY || attribute.rta_type == RTA_VIA) {
      route.hasGateway = true;
    }
    if (attribute.rta_type == RTA_OIF && attribute.rta_len == RTA_LENGTH(sizeof(unsigned)) &&
        place + attribute.rta_len <= size) {
      std::memcpy(&route.interface, bytes + place + RTA_LENGTH(0), sizeof(route.interface));
    }
    place += RTA_ALIGN(attribute.rta_len);
  }
  return route;
}

std::optional<Route> routeTo(const InternetAddress& address) {
  const Socket socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
  if (socket.get() < 0) return std::nullopt;
  ::setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &kAnswerLimit, sizeof(kAnswerLimit));
  const RouteRequest request = requestFor(address);
  if (::send(socket.get(), &request, request.header.nlmsg_len, 0) < 0) return std::nullopt;
  std::array<std::uint8_t, 8192> answer{};
  const ssize_t size = ::recv(socket.get(), answer.data(), answer.size(), 0);
  if (size <= 0) return std::nullopt;
  return routeIn(answer.data(), static_cast<std::size_t>(size));
}

std::string interfaceName(unsigned index) {
  std::array<char, IF_NAMESIZE> name{};
  return ::if_indextoname(index, name.data()) == nullptr ? "" : name.data();
}

struct FreeAddresses {
  void operator()(ifaddrs* addresses) const { ::freeifaddrs(addresses); }
};

using InterfaceAddresses = std::unique_ptr<ifaddrs, FreeAddresses>;

InterfaceAddresses interfaceAddresses() {
  ifaddrs* addresses = nullptr;
  return InterfaceAddresses(::getifaddrs(&addresses) == 0 ? addresses : nullptr);
}

bool carries(unsigned flags) { return (flags & IFF_UP) != 0 && (flags & IFF_RUNNING) != 0; }

/// Whether the interface is switched on and its link carries.
bool carries(const std::string& interface) {
  const InterfaceAddresses addresses = interfaceAddresses();
  for (const ifaddrs* each = addresses.get(); each != nullptr; each = each->ifa_next) {
    if (interface == each->ifa_name) return carries(each->ifa_flags);
  }
  return false;
}

InternetAddress addressOf(const char* text) {
  InternetAddress address;
  auto* four = reinterpret_cast<sockaddr_in*>(&address.storage);
  if (::inet_pton(AF_INET, text, &four->sin_addr) == 1) {
    four->sin_family = AF_INET;
    address.length = sizeof(sockaddr_in);
    return address;
  }
  auto* six = reinterpret_cast<sockaddr_in6*>(&address.storage);
  six->sin6_family = AF_INET6;
  ::inet_pton(AF_INET6, text, &six->sin6_addr);
  address.length = sizeof(sockaddr_in6);
  return address;
}

}  // namespace

InternetAddress internetAddress(const SocketAddress& address) {
  InternetAddress result;
  auto* four = reinterpret_cast<sockaddr_in*>(&result.storage);
  four->sin_family = AF_INET;
  four->sin_port = htons(address.port);
  four->sin_addr.s_addr = htonl(address.address);
  result.length = sizeof(sockaddr_in);
  return result;
}

RouteLookup::RouteLookup(std::filesystem::path systemNetworks)
    : networks_(std::move(systemNetworks)) {}

bool RouteLookup::isKind(const std::string& interface, const char* kind) const {
  const std::string text = "\n" + readSystemFile(networks_ / interface / "uevent") + "\n";
  return text.find("\nDEVTYPE=" + std::string(kind) + "\n") != std::string::npos;
}

SCNetworkReachabilityFlags RouteLookup::flagsTo(const InternetAddress& address) const {
  const auto route = routeTo(address);
  if (!route) return 0;
  const std::string interface = interfaceName(route->interface);
  if (!carries(interface)) return 0;
  SCNetworkReachabilityFlags flags = kSCNetworkReachabilityFlagsReachable;
  if (!route->hasGateway) flags |= kSCNetworkReachabilityFlagsIsDirect;
  if (isKind(interface, "wwan")) flags |= kSCNetworkReachabilityFlagsIsWWAN;
  return flags;
}

SCNetworkReachabilityFlags RouteLookup::flagsToInternet() const {
  for (const char* farAway : {kFarAway4, kFarAway6}) {
    const SCNetworkReachabilityFlags flags = flagsTo(addressOf(farAway));
    // A way without a gateway, as over a modem, is no direct one.
    if (flags != 0) return flags & ~kSCNetworkReachabilityFlagsIsDirect;
  }
  return 0;
}

SCNetworkReachabilityFlags RouteLookup::flagsOfLocalWiFi() const {
  const InterfaceAddresses addresses = interfaceAddresses();
  for (const ifaddrs* each = addresses.get(); each != nullptr; each = each->ifa_next) {
    const bool isInternet = each->ifa_addr != nullptr && each->ifa_addr->sa_family == AF_INET;
    if (isInternet && carries(each->ifa_flags) && isKind(each->ifa_name, "wlan")) {
      return kSCNetworkReachabilityFlagsReachable | kSCNetworkReachabilityFlagsIsDirect;
    }
  }
  return 0;
}

}  // namespace ks
