#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "BeaconSDK/Platform/Api/UIKit.h"

namespace ks {

/// The identifier of one vendor's applications on one installation of the system.
///
/// A keyed hash (HMAC with SHA-256) of the vendor under the machine's identifier: it tells nothing
/// of either, and differs from vendor to vendor. The vendor is the bundle identifier without its
/// last part: "com.acme" of "com.acme.kiosk". Absent unless `machineIdentifier` is 32 hexadecimal
/// digits that are not all zero.
std::optional<UUID> vendorIdentifier(const std::string& machineIdentifier,
                                     const std::string& bundleIdentifier);

/// What the machine says of itself: read once, when the device is made.
class LinuxDevice : public UIDevice, public ASIdentifierManager {
 public:
  /// Below `systemRoot` lies "etc". A machine without an identifier gets a random one, kept in
  /// `state`.
  LinuxDevice(const std::filesystem::path& systemRoot, const std::filesystem::path& state,
              const std::string& bundleIdentifier);

  /// "12": of the distribution, else of the kernel.
  std::string systemVersion() const override { return systemVersion_; }
  std::string machine() const override { return machine_; }
  UUID identifierForVendor() const override { return identifier_; }
  /// Nobody is asked whether advertisers may follow them, so they may not.
  bool isAdvertisingTrackingEnabled() const override { return false; }
  UUID advertisingIdentifier() const override { return identifier_; }

 private:
  std::string systemVersion_;
  std::string machine_;
  UUID identifier_;
};

}  // namespace ks
