#pragma once

#include <list>
#include <mutex>
#include <optional>
#include <string_view>
#include <vector>

#include "tools/ksbeacon/portal/PortalOptions.h"

namespace ks::portal {

/// The faults at work and how often each still applies. Any thread.
class PortalFaults {
 public:
  explicit PortalFaults(std::vector<Fault> faults);

  void add(Fault fault);
  void clear();
  /// In the order in which they are asked about.
  std::vector<Fault> all() const;
  /// The first fault for `path` ("/beacons"), counted down.
  std::optional<Fault> take(std::string_view path);

 private:
  mutable std::mutex mutex_;
  std::list<Fault> faults_;
};

}  // namespace ks::portal
