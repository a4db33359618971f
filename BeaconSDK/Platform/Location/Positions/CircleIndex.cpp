#include "BeaconSDK/Platform/Location/Positions/CircleIndex.h"

#include <algorithm>
#include <boost/geometry.hpp>
#include <boost/geometry/index/rtree.hpp>
#include <cmath>
#include <iterator>
#include <numbers>
#include <utility>

namespace ks {

namespace {

namespace bg = boost::geometry;
using Point = bg::model::point<double, 3, bg::cs::cartesian>;
using Box = bg::model::box<Point>;
using Entry = std::pair<Box, std::uint64_t>;

// The radius of the sphere on which `distanceBetween` measures.
constexpr double kEarthRadius = 6371008.8;
// Six micrometres: more than the rounding of the coordinates.
constexpr double kSlack = 1e-12;

Point onSphere(CLLocationCoordinate2D coordinate) {
  const double latitude = coordinate.latitude * std::numbers::pi / 180;
  const double longitude = coordinate.longitude * std::numbers::pi / 180;
  return {std::cos(latitude) * std::cos(longitude), std::cos(latitude) * std::sin(longitude),
          std::sin(latitude)};
}

/// The range of one coordinate over a cap whose centre has the given coordinate there.
std::pair<double, double> extent(double center, double angle) {
  const double fromAxis = std::acos(std::clamp(center, -1.0, 1.0));
  const double high = fromAxis <= angle ? 1 : std::cos(fromAxis - angle);
  const double low = fromAxis + angle >= std::numbers::pi ? -1 : std::cos(fromAxis + angle);
  return {low - kSlack, high + kSlack};
}

Entry entryOf(std::uint64_t id, CLLocationCoordinate2D center, Metres radius) {
  const double angle = std::min(radius.value / kEarthRadius, std::numbers::pi);
  const auto middle = onSphere(center);
  const auto x = extent(bg::get<0>(middle), angle);
  const auto y = extent(bg::get<1>(middle), angle);
  const auto z = extent(bg::get<2>(middle), angle);
  return {{{x.first, y.first, z.first}, {x.second, y.second, z.second}}, id};
}

}  // namespace

struct CircleIndex::Tree {
  bg::index::rtree<Entry, bg::index::linear<16>> entries;
};

CircleIndex::CircleIndex() : tree_(std::make_unique<Tree>()) {}
CircleIndex::~CircleIndex() = default;

void CircleIndex::insert(std::uint64_t id, CLLocationCoordinate2D center, Metres radius) {
  tree_->entries.insert(entryOf(id, center, radius));
}

void CircleIndex::erase(std::uint64_t id, CLLocationCoordinate2D center, Metres radius) {
  tree_->entries.remove(entryOf(id, center, radius));
}

void CircleIndex::around(CLLocationCoordinate2D point, std::vector<std::uint64_t>& ids) const {
  const auto inside = bg::index::intersects(onSphere(point));
  for (auto it = tree_->entries.qbegin(inside); it != tree_->entries.qend(); ++it) {
    ids.push_back(it->second);
  }
}

}  // namespace ks
