#pragma once

#include <span>
#include <string_view>

namespace ks {

/// The user's consent to data that the library sends and stores. Data without consent is neither
/// sent nor stored; withdrawing consent while the library runs removes what it has stored.
struct Consent {
  /// The device's position. Without it the portal is not queried by position: the library continues
  /// with the zones it has.
  bool positions = true;
  /// Events for the portal. A stay that begins without this consent is never counted, nor is its
  /// end.
  bool statistics = true;
  /// The application's tags.
  bool tags = true;
  /// The device's or the advertising identifier.
  bool identifiers = true;

  friend bool operator==(const Consent&, const Consent&) = default;

  /// A member and its name in command-line options.
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
