#include "BeaconSDK/Platform/Linux/Positions/GpsdProtocol.h"

#include <array>
#include <boost/json.hpp>
#include <cmath>
#include <optional>

namespace ks {

namespace json = boost::json;

namespace {

// What satellite receivers reach that do not say how uncertain they are, in metres.
constexpr double kUncertaintyIn3D = 15;
constexpr double kUncertaintyIn2D = 50;
constexpr int kMode2D = 2;
constexpr int kMode3D = 3;

std::optional<double> number(const json::object& report, std::string_view key) {
  const json::value* const value = report.if_contains(key);
  if (value == nullptr || !value->is_number()) return std::nullopt;
  json::error_code error;
  const auto result = value->to_number<double>(error);
  return error || !std::isfinite(result) ? std::nullopt : std::optional(result);
}

double uncertainty(const json::object& report, int mode) {
  if (const auto both = number(report, "eph")) return *both;
  const auto east = number(report, "epx");
  const auto north = number(report, "epy");
  if (east && north) return std::hypot(*east, *north);
  return mode == kMode3D ? kUncertaintyIn3D : kUncertaintyIn2D;
}

GpsdLine readPosition(const json::object& report) {
  const json::value* const value = report.if_contains("mode");
  if (value == nullptr || !value->is_int64()) return GpsdUnreadable{};
  const auto mode = value->get_int64();
  if (mode < kMode2D) return GpsdNoFix{};
  // Some receivers claim a fix before they have a place.
  if (!report.contains("lat") && !report.contains("lon")) return GpsdNoFix{};
  const auto latitude = number(report, "lat");
  const auto longitude = number(report, "lon");
  if (!latitude || !longitude) return GpsdUnreadable{};
  const auto position = positionReport(*latitude, *longitude,
                                       uncertainty(report, mode >= kMode3D ? kMode3D : kMode2D));
  if (!position) return GpsdUnreadable{};
  return *position;
}

}  // namespace

void LineSplitter::add(std::string_view bytes,
                       const std::function<void(std::string_view line)>& line) {
  while (!bytes.empty()) {
    const auto end = bytes.find('\n');
    const auto part = bytes.substr(0, end);
    if (begun_.size() + part.size() > kLongestGpsdLine) {
      tooLong_ = true;
      begun_.clear();
    }
    if (!tooLong_) begun_ += part;
    if (end == std::string_view::npos) return;
    bytes.remove_prefix(end + 1);
    if (!tooLong_) line(begun_);
    begun_.clear();
    tooLong_ = false;
  }
}

GpsdLine readGpsdLine(std::string_view line) {
  std::array<unsigned char, 4096> buffer;
  json::monotonic_resource memory(buffer.data(), buffer.size());
  json::error_code error;
  const json::value value = json::parse(line, error, &memory);
  if (error || !value.is_object()) return GpsdUnreadable{};
  const json::object& report = value.get_object();
  const json::value* const kind = report.if_contains("class");
  if (kind == nullptr || !kind->is_string()) return GpsdUnreadable{};
  if (kind->get_string() == "VERSION") return GpsdIntroduction{};
  if (kind->get_string() == "TPV") return readPosition(report);
  return GpsdOther{};
}

}  // namespace ks
