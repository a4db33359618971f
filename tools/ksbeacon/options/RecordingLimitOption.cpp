#include "tools/ksbeacon/options/RecordingLimitOption.h"

#include <charconv>
#include <cstdint>
#include <optional>

namespace ks::tool {

namespace {

/// A year.
constexpr std::uint64_t kMostHours = 8784;
/// Room for four beginnings with the files of a device.
constexpr std::uint64_t kLeastMebibytes = 4;
constexpr std::uint64_t kMostMebibytes = 65536;

/// The number before the unit, if it stands within the bounds.
std::optional<std::uint64_t> numberBefore(char unit, const std::string& text, std::uint64_t least,
                                          std::uint64_t most) {
  if (!text.ends_with(unit)) return std::nullopt;
  std::uint64_t number = 0;
  const char* const end = text.data() + text.size() - 1;
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc{} || rest != end || number < least || number > most) return std::nullopt;
  return number;
}

std::optional<std::uint64_t> hoursIn(const std::string& text) {
  return numberBefore('h', text, 1, kMostHours);
}

std::optional<std::uint64_t> mebibytesIn(const std::string& text) {
  return numberBefore('M', text, kLeastMebibytes, kMostMebibytes);
}

}  // namespace

std::string checkRecordingLimit(const std::string& text) {
  if (hoursIn(text) || mebibytesIn(text)) return "";
  return "expected hours from 1h to 8784h or MiB from 4M to 65536M, got " + text;
}

RecordingLimit recordingLimitIn(const std::string& text) {
  RecordingLimit limit;
  if (const auto hours = hoursIn(text)) limit.time = Seconds{static_cast<double>(*hours) * 3600};
  if (const auto mebibytes = mebibytesIn(text)) limit.bytes = *mebibytes * 1024 * 1024;
  return limit;
}

}  // namespace ks::tool
