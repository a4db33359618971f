#pragma once

#include <span>
#include <string_view>

namespace ks {

/// What the user lets the library send and keep, by class. What is switched off is neither sent nor
/// kept; switched off while the library runs, what it kept of that class is removed.
struct Consent {
  /// Where the device is. Without it the portal is not asked for what lies around the device: the
  /// library works on with the zones that it knows.
  bool positions = true;
  /// Events for the portal. A stay that begins without this consent is never counted, not even its
  /// end.
  bool statistics = true;
  /// The application's tags.
  bool tags = true;
  /// The device's or the advertising identifier.
  bool identifiers = true;

  friend bool operator==(const Consent&, const Consent&) = default;

  /// A member and its name, as options write it.
  struct Named {
    std::string_view name;
    bool Consent::*member;
  };
  static std::span<const Named> named() {
    static constexpr Named kNamed[] = {{"positions", &Consent::positions},
                                       {"statistics", &Consent::statistics},
                                       {"tags", &Consent::tags},
                                       {"identifiers", &Consent::identifiers}};
    return kNamed;
  }
};

}  // namespace ks
