#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "BeaconSDK/Classes/Manager/Health/Health.h"
#include "BeaconSDK/Platform/Api/Foundation.h"
#include "BeaconSDK/Platform/Location/Wakeup.h"
#include "tools/ksbeacon/status/StatusSocket.h"

namespace ks::tool {

/// Tells others how the service is, while it lives: whoever asks at its socket, and a file of
/// metrics every `kInterval`. Main queue only.
class HealthPost {
 public:
  /// The usual scrape interval of a node exporter.
  static constexpr Seconds kInterval{15};
  using Source = std::function<ks::Health()>;
  /// Answers why a content or a zone's content fired or not, as one line of JSON.
  using Why = std::function<std::string(const std::string& subject)>;

  /// `metrics` may be empty: none. A socket that cannot be had, or a file that cannot be written,
  /// is a line to standard error.
  HealthPost(const std::filesystem::path& socket, std::filesystem::path metrics,
             DispatchQueue& mainQueue, Source source, Why why);
  HealthPost(const HealthPost&) = delete;
  HealthPost& operator=(const HealthPost&) = delete;
  /// Removes both.
  ~HealthPost();

 private:
  void writeMetrics();

  const std::filesystem::path metrics_;
  DispatchQueue& mainQueue_;
  const Source source_;
  bool isComplained_ = false;
  Wakeup next_;
  std::unique_ptr<StatusSocket> socket_;
};

}  // namespace ks::tool
