#include "BeaconSDK/Platform/Http/LocalAddress.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdint>
#include <cstring>

namespace ks {

namespace {

/// In host order.
bool isLocalIPv4(std::uint32_t address) {
  const std::uint32_t network = address >> 24;
  constexpr std::uint32_t kLinkLocal = 0xA9FE;
  return network == 127 || network == 0 || address >> 16 == kLinkLocal;
}

}  // namespace

bool isLocalAddress(const sockaddr_storage& address) {
  if (address.ss_family == AF_INET) {
    sockaddr_in found = {};
    std::memcpy(&found, &address, sizeof found);
    return isLocalIPv4(ntohl(found.sin_addr.s_addr));
  }
  if (address.ss_family != AF_INET6) return false;
  sockaddr_in6 found = {};
  std::memcpy(&found, &address, sizeof found);
  const in6_addr& ip = found.sin6_addr;
  if (IN6_IS_ADDR_V4MAPPED(&ip)) {
    std::uint32_t inner = 0;
    std::memcpy(&inner, ip.s6_addr + 12, sizeof inner);
    return isLocalIPv4(ntohl(inner));
  }
  return IN6_IS_ADDR_LOOPBACK(&ip) || IN6_IS_ADDR_UNSPECIFIED(&ip) || IN6_IS_ADDR_LINKLOCAL(&ip);
}

}  // namespace ks
