#pragma once

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <string>
#include <type_traits>

namespace ks::tool {

/// Takes a decimal number from `least` to `most`, both finite, and nothing else; whole numbers
/// where `Number` is an integer. The option must be read into a variable that holds them all.
template <class Number>
CLI::Validator numberBetween(Number least, Number most) {
  constexpr bool kIsWhole = std::is_integral_v<Number>;
  const auto check = [least, most](std::string& text) -> std::string {
    Number value{};
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value);
    // The comparison is false for NaN too.
    if (error == std::errc{} && rest == end && value >= least && value <= most) {
      // Leading zeros would be read as an octal number.
      if constexpr (kIsWhole) text = fmt::to_string(value);
      return "";
    }
    return fmt::format("expected a {} from {} to {}, got {}", kIsWhole ? "whole number" : "number",
                       least, most, text);
  };
  return CLI::Validator(check, "");
}

}  // namespace ks::tool
