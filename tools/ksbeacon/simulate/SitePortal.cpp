#include <utility>

#include "tools/ksbeacon/simulate/WalkPortal.h"

namespace ks::tool {

namespace {

/// No request leaves the process; the host is reserved for examples.
constexpr const char* kRootURL = "http://portal.example/app";

class SitePortal : public WalkPortal {
 public:
  explicit SitePortal(std::unique_ptr<portal::PortalSite> site)
      : network_(std::make_shared<portal::SiteLoadingSystem>(std::move(site), kRootURL)) {}

  std::string url() const override { return kRootURL; }
  void addFault(portal::Fault fault) override { network_->faults().add(std::move(fault)); }
  void clearFaults() override { network_->faults().clear(); }
  Result<bool> setDocuments(const std::filesystem::path& folder) override {
    return network_->setDocuments(folder);
  }
  std::shared_ptr<portal::SiteLoadingSystem> network() const override { return network_; }

 private:
  std::shared_ptr<portal::SiteLoadingSystem> network_;
};

}  // namespace

Result<std::unique_ptr<WalkPortal>> startSitePortal(portal::PortalOptions options) {
  auto site = portal::PortalSite::make(options);
  if (!site) return site.error();
  return std::unique_ptr<WalkPortal>(std::make_unique<SitePortal>(std::move(site.value())));
}

}  // namespace ks::tool
