#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

#include "BeaconSDK/Platform/Api/Date.h"
#include "BeaconSDK/Platform/Api/Object.h"
#include "BeaconSDK/Platform/Api/UUID.h"
#include "BeaconSDK/Platform/Api/Value.h"

namespace ks {

/// One argument of a format, held by reference and converted only when a placeholder uses it. Must
/// not outlive the value.
class FormatArgument {
 public:
  using Content = std::variant<std::monostate, std::int64_t, std::uint64_t, double,
                               std::string_view, const Value*, const Object*, Date, UUID>;

  FormatArgument(std::nullptr_t) {}
  FormatArgument(std::nullopt_t) {}
  template <std::signed_integral T>
  FormatArgument(T number) : content_(static_cast<std::int64_t>(number)) {}
  template <std::unsigned_integral T>
  FormatArgument(T number) : content_(static_cast<std::uint64_t>(number)) {}
  template <std::floating_point T>
  FormatArgument(T number) : content_(static_cast<double>(number)) {}
  template <class T>
  requires std::is_enum_v<T> FormatArgument(T number)
      : FormatArgument(static_cast<std::underlying_type_t<T>>(number)) {}

  FormatArgument(std::string_view text) : content_(text) {}
  FormatArgument(const std::string& text) : content_(std::string_view(text)) {}
  FormatArgument(const char* text) {
    if (text != nullptr) content_ = std::string_view(text);
  }
  FormatArgument(const Value& value) : content_(&value) {}
  FormatArgument(const Object& object) : content_(&object) {}
  FormatArgument(const Object* object) {
    if (object != nullptr) content_ = object;
  }
  template <class T>
  requires std::is_base_of_v<Object, T> FormatArgument(const std::shared_ptr<T>& object)
      : FormatArgument(static_cast<const Object*>(object.get())) {}
  FormatArgument(Date date) : content_(date) {}
  FormatArgument(UUID uuid) : content_(uuid) {}
  template <class T>
  FormatArgument(const std::optional<T>& value) {
    if (value) *this = FormatArgument(*value);
  }

  const Content& content() const { return content_; }

 private:
  Content content_;
};

/// Returns `format` with its placeholders replaced by `arguments` in order.
///
/// "%@" prints any value as its description and an absent one as "(null)". printf placeholders
/// follow their letter and length modifier: "%d" keeps the low 32 bits of a 64-bit value, "%hhu"
/// the low 8, "%ld" and "%tu" all 64. A value of another kind than the placeholder's is converted
/// if it is a number and printed as its description otherwise. A placeholder without a value, or an
/// unknown one, is copied unchanged.
std::string formatted(std::string_view format, std::span<const FormatArgument> arguments);

/// As `formatted`, with the values as arguments. Any thread.
template <class... Args>
std::string stringWithFormat(std::string_view format, const Args&... args) {
  const std::array<FormatArgument, sizeof...(Args)> arguments{FormatArgument(args)...};
  return formatted(format, arguments);
}

}  // namespace ks
