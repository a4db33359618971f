#pragma once

#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "BeaconSDK/Platform/Api/Error.h"
#include "tools/ksbeacon/portal/PortalLibrary.h"
#include "tools/ksbeacon/portal/PortalOptions.h"

namespace ks::portal {

/// A request as the site sees it.
struct SiteRequest {
  std::string method;
  /// Decoded, below the prefix: "/beacons".
  std::string path;
  /// As it arrived.
  std::string query;
  /// Field values, "" when missing.
  std::string authorization;
  std::string ifNoneMatch;
  std::string body;
};

struct SiteReply {
  int status = 200;
  std::vector<std::pair<std::string, std::string>> fields;
  std::string body;
};

/// What the portal answers, without the network: credentials, documents, statistics. One thread.
class PortalSite {
 public:
  /// Reads the documents and opens the statistics file; an error names what is wrong.
  static Result<std::unique_ptr<PortalSite>> make(const PortalOptions& options);

  SiteReply answer(const SiteRequest& request);
  /// Serves the documents of another folder from now on; after an error the old ones on.
  Result<bool> setDocuments(const std::filesystem::path& folder);
  /// Makes every recorded event durable in its file.
  void close();

 private:
  explicit PortalSite(const PortalOptions& options);
  bool isAuthorized(const std::string& authorization) const;
  SiteReply document(const SiteRequest& request);
  SiteReply statistic(const std::string& zoneKind, const std::string& event,
                      const std::string& text);
  void tell(const std::string& message) const;

  const PortalOptions options_;
  PortalLibrary library_;
  /// The value that requests must carry; empty when none is asked for.
  std::string authorization_;
  std::ofstream statistics_;
};

}  // namespace ks::portal
