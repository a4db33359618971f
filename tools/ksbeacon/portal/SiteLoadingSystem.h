#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Http/HttpURLLoadingSystem.h"
#include "tools/ksbeacon/portal/PortalFaults.h"
#include "tools/ksbeacon/portal/PortalSite.h"

namespace ks::portal {

/// URL sessions that a site in this process answers, without a network: for walks by the thousand.
///
/// Replies come in the order of `resume`, each in one task of the session's delegate queue, and
/// take no time but for the faults that delay them in the time of that queue. Nothing is cached.
/// Resources outside the site, as pictures, cannot be fetched. One thread: that of the device in
/// virtual time.
class SiteLoadingSystem : public URLLoadingSystem {
 public:
  /// What a device lends to the sessions that are made while it is attached.
  struct Device {
    std::function<std::shared_ptr<DispatchQueue>()> makeQueue;
    std::filesystem::path temporaryDirectory;
    /// Called as each transfer ends, right after the delegate's events.
    std::function<void(const HttpExchange&)> listener;
  };

  /// `rootURL` is what requests to the site begin with.
  SiteLoadingSystem(std::unique_ptr<PortalSite> site, std::string rootURL);
  ~SiteLoadingSystem() override;

  const std::string& rootURL() const;
  PortalFaults& faults();
  /// Serves the documents of another folder from now on; after an error the old ones on.
  Result<bool> setDocuments(const std::filesystem::path& folder);
  void attach(Device device);
  /// Sessions still open report nothing more.
  void detach();

  std::shared_ptr<NSURLSession> makeSession(NSURLSessionConfiguration configuration,
                                            std::weak_ptr<NSURLSessionDelegate> delegate) override;
  using URLLoadingSystem::dataWithContentsOfURL;
  std::optional<Data> dataWithContentsOfURL(const NSURL& url, const DataLimits& limits) override;

 private:
  class Site;
  class Session;
  class Task;
  std::shared_ptr<Site> site_;
};

}  // namespace ks::portal
