#pragma once

struct sockaddr_storage;

namespace ks {

/// Whether the IP address is this device's own or valid on its link alone: 127.0.0.0/8, 0.0.0.0/8,
/// 169.254.0.0/16, ::1, ::, fe80::/10, and those of IPv4 inside IPv6.
bool isLocalAddress(const sockaddr_storage& address);

}  // namespace ks
