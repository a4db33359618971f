#include "tools/ksbeacon/scenario/GpxTrack.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <pugixml.hpp>

#include "tools/ksbeacon/documents/MomentText.h"
#include "tools/ksbeacon/documents/TextFile.h"

namespace ks::tool {

namespace {

constexpr std::size_t kMaximumBytes = 16UL * 1024 * 1024;

int lineAt(std::string_view text, std::ptrdiff_t offset) {
  const auto end = text.begin() + std::clamp<std::ptrdiff_t>(offset, 0, std::ssize(text));
  return 1 + static_cast<int>(std::count(text.begin(), end, '\n'));
}

/// An attribute in degrees within the limit.
std::optional<double> degrees(const pugi::xml_attribute& attribute, double limit) {
  const char* const text = attribute.value();
  const char* const end = text + std::strlen(text);
  double value = 0;
  const auto [rest, error] = std::from_chars(text, end, value);
  if (text == end || error != std::errc{} || rest != end) return std::nullopt;
  return value >= -limit && value <= limit ? std::optional(value) : std::nullopt;
}

/// Collects points until the first mistake.
class PointReader {
 public:
  PointReader(std::string_view text, const std::string& file) : text_(text), file_(file) {}

  void read(const pugi::xml_node& parent, const char* name) {
    for (const pugi::xml_node& node : parent.children(name)) {
      if (mistake_) return;
      const auto latitude = degrees(node.attribute("lat"), 90);
      const auto longitude = degrees(node.attribute("lon"), 180);
      if (!latitude || !longitude) {
        fail(node, "expected lat from -90 to 90 and lon from -180 to 180");
        return;
      }
      add(node, {{*latitude, *longitude}, std::nullopt});
    }
  }

  std::variant<std::vector<TrackPoint>, InputError> result() && {
    if (mistake_) return *std::move(mistake_);
    if (points_.empty()) {
      return InputError{file_, 0, "", "expected a trkpt, an rtept or a wpt; there is none"};
    }
    return std::move(points_);
  }
  bool found() const { return !points_.empty() || mistake_.has_value(); }

 private:
  void add(const pugi::xml_node& node, TrackPoint point) {
    if (const pugi::xml_node time = node.child("time")) {
      point.time = dateFromText(time.text().get());
      if (!point.time) {
        fail(time, "expected a date like 2026-05-04T09:00:00Z");
        return;
      }
    }
    if (!points_.empty()) {
      const TrackPoint& last = points_.back();
      if (last.time.has_value() != point.time.has_value()) {
        fail(node, "expected a time on every point or on none");
        return;
      }
      if (point.time && *point.time < *last.time) {
        fail(node, "expected a time not before the point before");
        return;
      }
    }
    points_.push_back(point);
  }
  void fail(const pugi::xml_node& node, std::string expected) {
    mistake_ = InputError{file_, lineAt(text_, node.offset_debug()), node.name(), expected};
  }

  std::string_view text_;
  const std::string& file_;
  std::vector<TrackPoint> points_;
  std::optional<InputError> mistake_;
};

}  // namespace

std::variant<std::vector<TrackPoint>, InputError> parseGpxTrack(std::string_view text,
                                                                const std::string& file) {
  if (text.size() > kMaximumBytes) {
    return InputError{file, 0, "", fmt::format("expected at most {} MiB", kMaximumBytes >> 20)};
  }
  pugi::xml_document document;
  const pugi::xml_parse_result parsed =
      document.load_buffer(text.data(), text.size(), pugi::parse_default, pugi::encoding_utf8);
  if (!parsed) {
    return InputError{file, lineAt(text, parsed.offset), "",
                      std::string("expected XML: ") + parsed.description()};
  }
  const pugi::xml_node gpx = document.child("gpx");
  if (!gpx) return InputError{file, 1, "", "expected a gpx document"};
  PointReader reader(text, file);
  for (const pugi::xml_node& track : gpx.children("trk")) {
    for (const pugi::xml_node& segment : track.children("trkseg")) reader.read(segment, "trkpt");
  }
  if (!reader.found()) {
    for (const pugi::xml_node& route : gpx.children("rte")) reader.read(route, "rtept");
  }
  if (!reader.found()) reader.read(gpx, "wpt");
  return std::move(reader).result();
}

std::vector<SimulatedWaypoint> stopsOf(const std::vector<TrackPoint>& track, Date start,
                                       const SimulatedWaypoint& usual) {
  std::vector<SimulatedWaypoint> stops;
  for (const TrackPoint& point : track) {
    SimulatedWaypoint stop = usual;
    stop.coordinate = point.coordinate;
    if (point.time) stop.arrival = start + (*point.time - *track.front().time);
    stops.push_back(stop);
  }
  return stops;
}

std::variant<std::vector<TrackPoint>, InputError> readGpxTrack(const std::string& path) {
  auto text = readTextFile(path, kMaximumBytes);
  if (auto* const error = std::get_if<InputError>(&text)) return std::move(*error);
  return parseGpxTrack(std::get<std::string>(text), path);
}

}  // namespace ks::tool
