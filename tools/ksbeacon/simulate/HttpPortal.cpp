#include <utility>

#include "tools/ksbeacon/portal/PortalServer.h"
#include "tools/ksbeacon/simulate/WalkPortal.h"

namespace ks::tool {

namespace {

class HttpPortal : public WalkPortal {
 public:
  explicit HttpPortal(std::shared_ptr<portal::PortalServer> server) : server_(std::move(server)) {}

  std::string url() const override { return server_->url(); }
  void addFault(portal::Fault fault) override { server_->addFault(std::move(fault)); }
  void clearFaults() override { server_->clearFaults(); }
  Result<bool> setDocuments(const std::filesystem::path& folder) override {
    return server_->setDocuments(folder);
  }
  void stop() override { server_->stop(); }

 private:
  std::shared_ptr<portal::PortalServer> server_;
};

}  // namespace

Result<std::unique_ptr<WalkPortal>> startHttpPortal(portal::PortalOptions options) {
  auto server = portal::PortalServer::start(std::move(options));
  if (!server) return server.error();
  return std::unique_ptr<WalkPortal>(std::make_unique<HttpPortal>(std::move(server.value())));
}

}  // namespace ks::tool
