#include "BeaconSDK/Platform/Location/Positions/CircleIndex.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <numbers>
#include <utility>

namespace ks {

namespace {

// So many new circles, and this share of all, are searched one by one.
constexpr std::size_t kLeastFresh = 64;
constexpr std::size_t kFreshShare = 64;
constexpr double kRadian = std::numbers::pi / 180;
constexpr double kUnitsPerDegree = 4294967296.0 / 360;
constexpr std::uint32_t kWhole = std::numeric_limits<std::uint32_t>::max();
// No latitude: these range from 0 to half of the numbers.
constexpr std::uint32_t kNowhere = kWhole;

constexpr std::array<std::uint32_t, 16> kBits{0x1,    0x2,    0x4,    0x8,   0x10,  0x20,
                                              0x40,   0x80,   0x100,  0x200, 0x400, 0x800,
                                              0x1000, 0x2000, 0x4000, 0x8000};

/// All bits when a <= b. By signed numbers, the only ones that the least x86-64 compares in
/// vectors.
std::int32_t maskAtMost(std::uint32_t a, std::uint32_t b) {
  constexpr std::uint32_t kSign = 0x80000000U;
  const bool holds = static_cast<std::int32_t>(a ^ kSign) <= static_cast<std::int32_t>(b ^ kSign);
  return -static_cast<std::int32_t>(holds);
}

std::uint32_t unitsEast(double longitude) {
  return static_cast<std::uint32_t>(
      static_cast<std::int64_t>(std::floor((longitude + 180) * kUnitsPerDegree)));
}

std::uint32_t unitsNorth(double latitude) {
  return static_cast<std::uint32_t>((std::clamp(latitude, -90.0, 90.0) + 90) * kUnitsPerDegree);
}

/// How far from the centre's meridian a circle reaches, in degrees; 180 when it holds a pole.
double reachEast(double latitude, double angle) {
  if (std::abs(latitude) * kRadian + angle >= std::numbers::pi / 2) return 180;
  return std::asin(std::sin(angle) / std::cos(latitude * kRadian)) / kRadian;
}

}  // namespace

CircleIndex::Node::Node() {
  south.fill(kNowhere);
  west.fill(0);
  width.fill(0);
  height.fill(0);
}

void CircleIndex::Node::set(std::size_t child, const Box& box) {
  west[child] = box.longitude.low;
  width[child] = box.longitude.length;
  south[child] = box.latitude.low;
  height[child] = box.latitude.length;
}

CircleIndex::Box CircleIndex::Node::box(std::size_t child) const {
  return {{west[child], width[child]}, {south[child], height[child]}};
}

CircleIndex::Box CircleIndex::boxOf(CLLocationCoordinate2D center, Metres radius) {
  const double angle = std::min(radius.value / kMeanEarthRadius.value, std::numbers::pi);
  const double east = reachEast(center.latitude, angle);
  const double north = angle / kRadian;
  // Rounded outwards by a unit, since the point that is looked for is rounded, too.
  const auto low = unitsNorth(center.latitude - north);
  const auto high = unitsNorth(center.latitude + north);
  const Range latitude{low - (low > 0 ? 1 : 0), high - low + 2};
  const double width = 2 * east * kUnitsPerDegree + 3;
  if (width >= kWhole) return {{0, kWhole}, latitude};
  return {{unitsEast(center.longitude - east) - 1, static_cast<std::uint32_t>(width)}, latitude};
}

bool CircleIndex::meet(Range a, Range b) {
  return b.low - a.low <= a.length || a.low - b.low <= b.length;
}

CircleIndex::Range CircleIndex::join(Range a, Range b) {
  const auto from = [](Range first, Range second) {
    const auto end = std::uint64_t{second.low - first.low} + second.length;
    const auto length = std::max<std::uint64_t>(first.length, end);
    return Range{first.low, static_cast<std::uint32_t>(std::min<std::uint64_t>(length, kWhole))};
  };
  const auto one = from(a, b);
  const auto other = from(b, a);
  return one.length <= other.length ? one : other;
}

std::uint32_t CircleIndex::childrenIn(const Node& node, const Box& box) {
  const auto [west, width] = box.longitude;
  const auto [south, height] = box.latitude;
  std::array<std::int32_t, kFanOut> met;
  // Without branches, so that the compiler compares several children at once.
  for (std::size_t i = 0; i < kFanOut; ++i) {
    const std::uint32_t east = west - node.west[i];
    const std::uint32_t north = south - node.south[i];
    met[i] = (maskAtMost(east, node.width[i]) | maskAtMost(0U - east, width)) &
             (maskAtMost(north, node.height[i]) | maskAtMost(0U - north, height));
  }
  std::uint32_t bits = 0;
  for (std::size_t i = 0; i < kFanOut; ++i) bits |= static_cast<std::uint32_t>(met[i]) & kBits[i];
  return bits;
}

/// The place of the box's middle on a Hilbert curve through 2^16 by 2^16 cells.
std::uint64_t CircleIndex::curveKey(const Box& box) {
  auto x = (box.longitude.low + box.longitude.length / 2) >> 16;
  auto y = (box.latitude.low + box.latitude.length / 2) >> 16;
  std::uint64_t key = 0;
  for (std::uint32_t side = 1U << 15; side > 0; side /= 2) {
    const std::uint32_t right = (x & side) != 0 ? 1 : 0;
    const std::uint32_t top = (y & side) != 0 ? 1 : 0;
    key = key * 4 + ((3 * right) ^ top);
    if (top == 1) continue;
    if (right == 1) {
      x = ~x;
      y = ~y;
    }
    std::swap(x, y);
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
  auto found = ids_.size();
  search([&] { return box; },
         [&](std::uint64_t other, std::size_t place) { found = other == id ? place : found; });
  if (found == ids_.size()) return;
  ids_[found] = 0;
  ++erased_;
  if (erased_ > ids_.size() / 2) pack();
}

void CircleIndex::packIfWorthwhile() const {
  if (fresh_.size() > kLeastFresh + ids_.size() / kFreshShare) pack();
}

std::vector<CircleIndex::Entry> CircleIndex::packedEntries() const {
  std::vector<Entry> entries;
  entries.reserve(ids_.size() + fresh_.size());
  for (std::size_t i = 0; i < ids_.size(); ++i) {
    if (ids_[i] != 0) entries.push_back({nodes_[i / kFanOut].box(i % kFanOut), ids_[i]});
  }
  return entries;
}

void CircleIndex::pack() const {
  auto entries = packedEntries();
  entries.insert(entries.end(), fresh_.begin(), fresh_.end());
  fresh_.clear();
  fresh_.shrink_to_fit();
  erased_ = 0;
  std::vector<std::pair<std::uint64_t, std::uint32_t>> order;
  order.reserve(entries.size());
  for (const auto& entry : entries) {
    order.emplace_back(curveKey(entry.box), static_cast<std::uint32_t>(order.size()));
  }
  std::ranges::sort(order);

  ids_.clear();
  ids_.reserve(entries.size());
  nodes_.clear();
  levels_.assign(1, 0);
  if (entries.empty()) return;
  nodes_.reserve(entries.size() / (kFanOut - 1) + 8);
  for (const auto& [key, place] : order) {
    if (ids_.size() % kFanOut == 0) nodes_.emplace_back();
    nodes_.back().set(ids_.size() % kFanOut, entries[place].box);
    ids_.push_back(entries[place].id);
  }
  while (nodes_.size() - levels_.back() > 1) {
    const auto first = levels_.back();
    const auto last = nodes_.size();
    levels_.push_back(last);
    for (auto i = first; i < last; ++i) {
      auto box = nodes_[i].box(0);
      for (std::size_t child = 1; child < kFanOut; ++child) {
        const auto other = nodes_[i].box(child);
        if (other.latitude.low == kNowhere) break;
        box = {join(box.longitude, other.longitude), join(box.latitude, other.latitude)};
      }
      if ((i - first) % kFanOut == 0) nodes_.emplace_back();
      nodes_.back().set((i - first) % kFanOut, box);
    }
  }
}

template <class BoxNow, class Visit>
void CircleIndex::search(BoxNow box, Visit visit) const {
  for (const auto& entry : fresh_) {
    const Box wanted = box();
    if (meet(entry.box.longitude, wanted.longitude) && meet(entry.box.latitude, wanted.latitude)) {
      visit(entry.id, ids_.size());
    }
  }
  if (ids_.empty()) return;
  struct Place {
    std::uint32_t level;
    std::uint32_t index;
  };
  // Each level leaves at most its node's children but one.
  std::array<Place, kFanOut * 16> open;
  std::size_t depth = 0;
  open[depth++] = {static_cast<std::uint32_t>(levels_.size() - 1), 0};
  while (depth > 0) {
    const auto [level, index] = open[--depth];
    auto met = childrenIn(nodes_[levels_[level] + index], box());
    for (; met != 0; met &= met - 1) {
      const auto child = static_cast<std::uint32_t>(index * kFanOut) +
                         static_cast<std::uint32_t>(std::countr_zero(met));
      if (level > 0) {
        open[depth++] = {level - 1, child};
      } else if (ids_[child] != 0) {
        visit(ids_[child], child);
      }
    }
  }
}

void CircleIndex::around(CLLocationCoordinate2D point, std::vector<std::uint64_t>& ids) const {
  packIfWorthwhile();
  const Box spot{{unitsEast(point.longitude), 0}, {unitsNorth(point.latitude), 0}};
  search([&] { return spot; }, [&](std::uint64_t id, std::size_t) { ids.push_back(id); });
}

void CircleIndex::along(CLLocationCoordinate2D from, CLLocationCoordinate2D to,
                        std::vector<std::uint64_t>& ids) const {
  packIfWorthwhile();
  const Box way{join({unitsEast(from.longitude), 0}, {unitsEast(to.longitude), 0}),
                join({unitsNorth(from.latitude), 0}, {unitsNorth(to.latitude), 0})};
  search([&] { return way; }, [&](std::uint64_t id, std::size_t) { ids.push_back(id); });
}

void CircleIndex::nearest(CLLocationCoordinate2D point, Metres farthest,
                          const std::function<Metres(std::uint64_t)>& look) const {
  packIfWorthwhile();
  // The box of a circle around the point holds all that is as near.
  auto limit = farthest;
  auto around = boxOf(point, limit);
  search([&] { return around; },
         [&](std::uint64_t id, std::size_t) {
           const auto distance = look(id);
           if (distance >= limit) return;
           limit = distance;
           around = boxOf(point, {std::max(limit.value, 0.0)});
         });
}

}  // namespace ks
