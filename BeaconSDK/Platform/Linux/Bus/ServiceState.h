#pragma once

#include <string>

namespace ks {

/// The state of one of the machine's services, for people and for `ksbeacon doctor`.
struct ServiceState {
  /// "Bluetooth", "Positions", "Session".
  std::string name;
  /// Whether the library can work with the service right now.
  bool usable = false;
  /// One sentence: what was found, or what is missing.
  std::string detail;
  /// The one command or setting that mends it; empty when nothing needs mending.
  std::string mend;

  friend bool operator==(const ServiceState&, const ServiceState&) = default;
};

}  // namespace ks
