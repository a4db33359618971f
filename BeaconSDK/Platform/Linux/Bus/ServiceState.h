#pragma once

#include <string>

namespace ks {

/// The state of one of the machine's services, for people and for `ksbeacon doctor`.
struct ServiceState {
  /// "Bluetooth", "Positions", "Session".
  std::string name;
  /// True when the library can use the service now.
  bool usable = false;
  /// One sentence: what was found, or what is missing.
  std::string detail;
  /// The one command or setting that solves the problem; empty if there is none.
  std::string mend;

  friend bool operator==(const ServiceState&, const ServiceState&) = default;
};

}  // namespace ks
