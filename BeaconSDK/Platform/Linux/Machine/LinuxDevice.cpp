#include "BeaconSDK/Platform/Linux/Machine/LinuxDevice.h"

#include <glib.h>
#include <sys/utsname.h>

#include <algorithm>
#include <string_view>

#include "BeaconSDK/Platform/Linux/Machine/SystemFile.h"
#include "BeaconSDK/Platform/Storage/KeptIdentifier.h"

namespace ks {

namespace {

/// The value of VERSION_ID, whose quotes are those of a shell.
std::string distributionVersion(const std::filesystem::path& etc) {
  constexpr std::string_view kKey = "\nVERSION_ID=";
  const std::string text = "\n" + readSystemFile(etc / "os-release");
  const auto found = text.find(kKey);
  if (found == std::string::npos) return "";
  const auto begin = found + kKey.size();
  std::string value = text.substr(begin, text.find('\n', begin) - begin);
  std::erase_if(value, [](char character) { return character == '"' || character == '\''; });
  return value;
}

bool isMachineIdentifier(std::string_view text) {
  constexpr std::size_t kDigits = 32;
  return text.size() == kDigits &&
         text.find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos &&
         text.find_first_not_of('0') != std::string_view::npos;
}

std::string vendorOf(const std::string& bundleIdentifier) {
  const auto last = bundleIdentifier.rfind('.');
  const bool hasVendor = std::count(bundleIdentifier.begin(), bundleIdentifier.end(), '.') >= 2;
  return hasVendor ? bundleIdentifier.substr(0, last) : bundleIdentifier;
}

}  // namespace

std::optional<UUID> vendorIdentifier(const std::string& machineIdentifier,
                                     const std::string& bundleIdentifier) {
  if (!isMachineIdentifier(machineIdentifier)) return std::nullopt;
  constexpr gsize kHashSize = 32;
  guint8 hash[kHashSize] = {};
  gsize size = kHashSize;
  const std::string vendor = vendorOf(bundleIdentifier);
  GHmac* const hmac =
      g_hmac_new(G_CHECKSUM_SHA256, reinterpret_cast<const guchar*>(machineIdentifier.data()),
                 machineIdentifier.size());
  g_hmac_update(hmac, reinterpret_cast<const guchar*>(vendor.data()),
                static_cast<gssize>(vendor.size()));
  g_hmac_get_digest(hmac, hash, &size);
  g_hmac_unref(hmac);

  UUID uuid;
  std::copy_n(hash, uuid.bytes.size(), uuid.bytes.begin());
  // Marks it as of the maker's own kind: version 8, the standard variant.
  uuid.bytes[6] = static_cast<std::uint8_t>((uuid.bytes[6] & 0x0F) | 0x80);
  uuid.bytes[8] = static_cast<std::uint8_t>((uuid.bytes[8] & 0x3F) | 0x80);
  return uuid;
}

LinuxDevice::LinuxDevice(const std::filesystem::path& systemRoot,
                         const std::filesystem::path& state, const std::string& bundleIdentifier) {
  utsname names = {};
  uname(&names);
  machine_ = names.machine;
  systemVersion_ = distributionVersion(systemRoot / "etc");
  if (systemVersion_.empty()) systemVersion_ = names.release;
  const auto derived =
      vendorIdentifier(readFirstLine(systemRoot / "etc/machine-id"), bundleIdentifier);
  identifier_ = derived ? *derived : keptIdentifier(state / "identifier");
}

}  // namespace ks
