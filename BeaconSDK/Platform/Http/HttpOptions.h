#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <string>

#include "BeaconSDK/Platform/Api/Date.h"
#include "BeaconSDK/Platform/Api/Foundation.h"

namespace ks {

/// How a loading system works; fixed when it is made.
struct HttpOptions {
  /// Where downloads lie while they arrive; made when missing. Required.
  std::filesystem::path temporaryDirectory;
  /// PEM certificates trusted besides the system's, for development and tests. Empty: none.
  std::filesystem::path additionalCertificateAuthorities;
  /// Host names in lower case to the public keys that their certificates may have:
  /// "sha256//BASE64", several separated by ';'. Other hosts may have any trusted certificate.
  std::map<std::string, std::string> publicKeyPins{};
  /// A body that is longer, before or after decoding, ends the transfer.
  std::uint64_t maximumBodySize = 64ULL * 1024 * 1024;
  /// Longest time for `dataWithContentsOfURL`, whatever its caller allows.
  Seconds dataTimeout{60};
  /// Ages stored documents; must outlive the loading system and its sessions. Null: the system's.
  const Clock* clock = nullptr;
  /// Receives the one warning of a loading system, when a session's request would cross a network
  /// over plain HTTP. On the thread that starts the transfer. May be empty.
  std::function<void(const std::string&)> warn{};
};

}  // namespace ks
