#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "BeaconSDK/Platform/Api/Error.h"
#include "tools/ksbeacon/portal/PortalOptions.h"
#include "tools/ksbeacon/portal/SiteLoadingSystem.h"

namespace ks::tool {

/// The portal of a scenario while its walk lasts.
class WalkPortal {
 public:
  /// Reads the documents; an error names what is wrong with them.
  using Starter = std::function<Result<std::unique_ptr<WalkPortal>>(portal::PortalOptions)>;

  virtual ~WalkPortal() = default;
  /// The root that the application is given.
  virtual std::string url() const = 0;
  virtual void addFault(portal::Fault fault) = 0;
  virtual void clearFaults() = 0;
  virtual Result<bool> setDocuments(const std::filesystem::path& folder) = 0;
  virtual void stop() {}
  /// What the device's transfers go through; null for its own network.
  virtual std::shared_ptr<portal::SiteLoadingSystem> network() const { return nullptr; }
};

/// The documents answered in this process: the same replies, without a server and its thread.
Result<std::unique_ptr<WalkPortal>> startSitePortal(portal::PortalOptions options);

/// The development portal over HTTP on this machine.
Result<std::unique_ptr<WalkPortal>> startHttpPortal(portal::PortalOptions options);

}  // namespace ks::tool
