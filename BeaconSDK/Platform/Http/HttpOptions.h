#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <string>

#include "BeaconSDK/Platform/Api/Date.h"
#include "BeaconSDK/Platform/Api/Foundation.h"

namespace ks {

/// Configuration of a loading system.
struct HttpOptions {
  /// Folder of downloads in progress; created when missing. Required.
  std::filesystem::path temporaryDirectory;
  /// PEM certificates trusted in addition to the system's, for development and tests; may be empty.
  std::filesystem::path additionalCertificateAuthorities;
  /// Public keys that a host's certificate may have, by its name in lower case: "sha256//BASE64",
  /// several separated by ';'. Other hosts may have any trusted certificate.
  std::map<std::string, std::string> publicKeyPins{};
  /// Maximum size of a body in bytes, before and after decoding; a longer one ends the transfer.
  std::uint64_t maximumBodySize = 64ULL * 1024 * 1024;
  /// Maximum time of `dataWithContentsOfURL`, whatever its caller allows.
  Seconds dataTimeout{60};
  /// Whether `dataWithContentsOfURL` and `loadData` may fetch over plain HTTP from this device
  /// itself and from link-local addresses. Even when false they may once a session's request has
  /// gone to this device, as to a portal that runs on it.
  bool allowsLocalData = false;
  /// Clock for the age of stored documents; must outlive the loading system and its sessions. Null:
  /// the system's clock.
  const Clock* clock = nullptr;
  /// Called once per loading system, when a session's request would cross a network over plain
  /// HTTP, on the thread that starts the transfer. May be null.
  std::function<void(const std::string&)> warn{};
};

}  // namespace ks
