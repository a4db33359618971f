#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace ks {

/// A 128-bit universally unique identifier, most significant byte first.
struct UUID {
  std::array<std::uint8_t, 16> bytes{};

  /// Parses the canonical 8-4-4-4-12 form in either case; absent for anything else.
  static std::optional<UUID> fromString(std::string_view text);

  /// Returns the canonical upper-case hyphenated form.
  std::string UUIDString() const;

  friend auto operator<=>(const UUID&, const UUID&) = default;
};

}  // namespace ks

template <>
struct std::hash<ks::UUID> {
  std::size_t operator()(const ks::UUID& uuid) const noexcept {
    const auto* text = reinterpret_cast<const char*>(uuid.bytes.data());
    return std::hash<std::string_view>{}({text, uuid.bytes.size()});
  }
};
