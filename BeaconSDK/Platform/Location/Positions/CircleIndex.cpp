#include "BeaconSDK/Platform/Location/Positions/CircleIndex.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <utility>

namespace ks {

namespace {

constexpr std::size_t kFanOut = 16;
// So many new circles, and this share of all, are searched one by one.
constexpr std::size_t kLeastFresh = 64;
constexpr std::size_t kFreshShare = 64;
// The rounding of a coordinate to single precision, which is below half a metre on the ground.
constexpr float kRounding = 1e-7F;

/// The range of one coordinate over a cap whose centre has the given coordinate there.
std::pair<double, double> extent(double center, double angle) {
  const double fromAxis = std::acos(std::clamp(center, -1.0, 1.0));
  const double high = fromAxis <= angle ? 1 : std::cos(fromAxis - angle);
  const double low = fromAxis + angle >= std::numbers::pi ? -1 : std::cos(fromAxis + angle);
  return {low, high};
}

std::array<double, 3> onSphere(CLLocationCoordinate2D coordinate) {
  const double latitude = coordinate.latitude * std::numbers::pi / 180;
  const double longitude = coordinate.longitude * std::numbers::pi / 180;
  const double shrink = std::cos(latitude);
  return {shrink * std::cos(longitude), shrink * std::sin(longitude), std::sin(latitude)};
}

std::array<float, 3> cornerAt(CLLocationCoordinate2D coordinate) {
  const auto [x, y, z] = onSphere(coordinate);
  return {static_cast<float>(x), static_cast<float>(y), static_cast<float>(z)};
}

/// Two zero bits after each of the lowest 21 bits.
std::uint64_t spread(std::uint64_t bits) {
  bits = (bits | bits << 32) & 0x001F00000000FFFF;
  bits = (bits | bits << 16) & 0x001F0000FF0000FF;
  bits = (bits | bits << 8) & 0x100F00F00F00F00F;
  bits = (bits | bits << 4) & 0x10C30C30C30C30C3;
  return (bits | bits << 2) & 0x1249249249249249;
}

}  // namespace

CircleIndex::Box CircleIndex::boxOf(CLLocationCoordinate2D center, Metres radius) {
  const double angle = std::min(radius.value / kMeanEarthRadius.value, std::numbers::pi);
  const auto middle = onSphere(center);
  Box box{};
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const auto [low, high] = extent(middle[axis], angle);
    // The point that is looked for is rounded, too.
    box.low[axis] = static_cast<float>(low) - 2 * kRounding;
    box.high[axis] = static_cast<float>(high) + 2 * kRounding;
  }
  return box;
}

CircleIndex::Box CircleIndex::join(const Box& a, const Box& b) {
  Box box{};
  for (std::size_t axis = 0; axis < 3; ++axis) {
    box.low[axis] = std::min(a.low[axis], b.low[axis]);
    box.high[axis] = std::max(a.high[axis], b.high[axis]);
  }
  return box;
}

bool CircleIndex::meet(const Box& a, const Box& b) {
  return a.low[0] <= b.high[0] && b.low[0] <= a.high[0] && a.low[1] <= b.high[1] &&
         b.low[1] <= a.high[1] && a.low[2] <= b.high[2] && b.low[2] <= a.high[2];
}

float CircleIndex::squaredDistance(const Box& box, const Corner& point) {
  float sum = 0;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const float gap = std::max({box.low[axis] - point[axis], point[axis] - box.high[axis], 0.0F});
    sum += gap * gap;
  }
  return sum;
}

std::uint64_t CircleIndex::curveKey(const Box& box) {
  constexpr double kCells = 1 << 20;
  std::uint64_t key = 0;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const double middle = (box.low[axis] + box.high[axis]) / 2.0;
    const double cell = std::clamp((middle + 1) * kCells, 0.0, 2 * kCells - 1);
    key |= spread(static_cast<std::uint64_t>(cell)) << axis;
  }
  return key;
}

void CircleIndex::insert(std::uint64_t id, CLLocationCoordinate2D center, Metres radius) {
  fresh_.push_back({boxOf(center, radius), id});
}

void CircleIndex::erase(std::uint64_t id, CLLocationCoordinate2D center, Metres radius) {
  const auto fresh = std::ranges::find(fresh_, id, &Entry::id);
  if (fresh != fresh_.end()) {
    *fresh = fresh_.back();
    fresh_.pop_back();
    return;
  }
  const auto box = boxOf(center, radius);
  const Entry* found = nullptr;
  search([&](const Box& other) { return meet(box, other); },
         [&](const Entry& entry) {
           if (entry.id == id) found = &entry;
         });
  if (found == nullptr) return;
  packed_[static_cast<std::size_t>(found - packed_.data())].id = 0;
  ++erased_;
  if (erased_ > packed_.size() / 2) pack();
}

void CircleIndex::packIfWorthwhile() const {
  if (fresh_.size() > kLeastFresh + packed_.size() / kFreshShare) pack();
}

void CircleIndex::pack() const {
  std::erase_if(packed_, [](const Entry& entry) { return entry.id == 0; });
  packed_.insert(packed_.end(), fresh_.begin(), fresh_.end());
  fresh_.clear();
  fresh_.shrink_to_fit();
  std::vector<std::pair<std::uint64_t, Entry>> order;
  order.reserve(packed_.size());
  for (const auto& entry : packed_) order.emplace_back(curveKey(entry.box), entry);
  std::ranges::sort(order, {}, [](const auto& keyed) { return keyed.first; });
  std::ranges::transform(order, packed_.begin(), [](const auto& keyed) { return keyed.second; });
  packed_.shrink_to_fit();

  nodes_.clear();
  levels_.clear();
  const auto pack = [this](std::size_t count, auto boxAt) {
    levels_.push_back(nodes_.size());
    for (std::size_t first = 0; first < count; first += kFanOut) {
      Box box = boxAt(first);
      for (auto i = first + 1; i < std::min(first + kFanOut, count); ++i) box = join(box, boxAt(i));
      nodes_.push_back(box);
    }
  };
  if (packed_.empty()) return;
  pack(packed_.size(), [this](std::size_t i) { return packed_[i].box; });
  while (nodes_.size() - levels_.back() > 1) {
    const auto below = levels_.back();
    pack(nodes_.size() - below, [this, below](std::size_t i) { return nodes_[below + i]; });
  }
  nodes_.shrink_to_fit();
}

template <class Wanted, class Visit>
void CircleIndex::search(Wanted wanted, Visit visit) const {
  for (const auto& entry : fresh_) {
    if (wanted(entry.box)) visit(entry);
  }
  if (levels_.empty()) return;
  struct Place {
    std::size_t level;
    std::size_t index;
  };
  // Each level leaves at most its node's children but one.
  std::array<Place, kFanOut * 16> open{};
  std::size_t depth = 0;
  open[depth++] = {levels_.size() - 1, 0};
  while (depth > 0) {
    const auto [level, index] = open[--depth];
    if (!wanted(nodes_[levels_[level] + index])) continue;
    const auto first = index * kFanOut;
    if (level == 0) {
      const auto last = std::min(first + kFanOut, packed_.size());
      for (auto i = first; i < last; ++i) {
        if (packed_[i].id != 0 && wanted(packed_[i].box)) visit(packed_[i]);
      }
      continue;
    }
    const auto last = std::min(first + kFanOut, levels_[level] - levels_[level - 1]);
    for (auto i = first; i < last; ++i) open[depth++] = {level - 1, i};
  }
}

void CircleIndex::around(CLLocationCoordinate2D point, std::vector<std::uint64_t>& ids) const {
  packIfWorthwhile();
  const auto corner = cornerAt(point);
  const Box spot{corner, corner};
  search([&](const Box& box) { return meet(box, spot); },
         [&](const Entry& entry) { ids.push_back(entry.id); });
}

void CircleIndex::along(CLLocationCoordinate2D from, CLLocationCoordinate2D to,
                        std::vector<std::uint64_t>& ids) const {
  packIfWorthwhile();
  const auto a = cornerAt(from);
  const auto b = cornerAt(to);
  auto way = join({a, a}, {b, b});
  // The way on the ground lies outside the chord by an eighth of its square.
  const float bulge = squaredDistance({a, a}, b) / 8;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    way.low[axis] -= bulge;
    way.high[axis] += bulge;
  }
  search([&](const Box& box) { return meet(box, way); },
         [&](const Entry& entry) { ids.push_back(entry.id); });
}

void CircleIndex::nearest(CLLocationCoordinate2D point, Metres farthest,
                          const std::function<Metres(std::uint64_t)>& look) const {
  packIfWorthwhile();
  const auto corner = cornerAt(point);
  float limit = std::numeric_limits<float>::max();
  const auto shorten = [&](Metres distance) {
    // A chord is shorter than the way on the ground.
    const double chord = std::max(distance.value, 0.0) / kMeanEarthRadius.value;
    limit = std::min(limit, static_cast<float>(chord * chord));
  };
  shorten(farthest);
  search([&](const Box& box) { return squaredDistance(box, corner) <= limit; },
         [&](const Entry& entry) { shorten(look(entry.id)); });
}

}  // namespace ks
