#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "BeaconSDK/Platform/Api/CoreLocation.h"

namespace ks {

/// Finds the circles around a point among very many.
///
/// A packed tree of boxes of latitude and longitude, filled along a Hilbert curve, 16 boxes a node.
/// Coordinates are whole numbers of 9 mm that wrap around, so that the antimeridian is not special;
/// a circle that holds a pole has all longitudes. New circles are searched one by one until there
/// are enough of them to pack the tree anew, which the next question does. A circle takes 25 bytes;
/// nothing is allocated to answer.
class CircleIndex {
 public:
  /// `id` must not be 0.
  void insert(std::uint64_t id, CLLocationCoordinate2D center, Metres radius);
  /// Takes what `insert` was given.
  void erase(std::uint64_t id, CLLocationCoordinate2D center, Metres radius);
  /// Appends at least all circles that contain the point, in no certain order.
  void around(CLLocationCoordinate2D point, std::vector<std::uint64_t>& ids) const;
  /// Appends at least all circles that the way touches, in no certain order. The way is straight on
  /// a map and shorter than half of the earth's circumference.
  void along(CLLocationCoordinate2D from, CLLocationCoordinate2D to,
             std::vector<std::uint64_t>& ids) const;
  /// Calls `look` with the circles that may be nearer to the point than the distance that it last
  /// returned, beginning with `farthest`.
  void nearest(CLLocationCoordinate2D point, Metres farthest,
               const std::function<Metres(std::uint64_t)>& look) const;

 private:
  /// Where a range begins and how far it reaches from there, modulo 2^32.
  struct Range {
    std::uint32_t low;
    std::uint32_t length;
  };
  struct Box {
    Range longitude;
    Range latitude;
  };
  struct Entry {
    Box box;
    std::uint64_t id;
  };
  static constexpr std::size_t kFanOut = 16;
  /// The boxes of up to 16 children, one array for each number, so that they are compared together.
  struct Node {
    using Numbers = std::array<std::uint32_t, kFanOut>;
    Numbers west;
    Numbers width;
    Numbers south;
    Numbers height;
    Node();
    void set(std::size_t child, const Box& box);
    Box box(std::size_t child) const;
  };

  static Box boxOf(CLLocationCoordinate2D center, Metres radius);
  static bool meet(Range a, Range b);
  static Range join(Range a, Range b);
  /// One bit for each child whose box meets the given one.
  static std::uint32_t childrenIn(const Node& node, const Box& box);
  static std::uint64_t curveKey(const Box& box);

  void pack() const;
  void packIfWorthwhile() const;
  std::vector<Entry> packedEntries() const;
  /// Calls `visit(id, place)` with each circle whose box meets `box()`, which is asked again for
  /// each node; `place` counts the packed circles, and is beyond them for fresh ones.
  template <class BoxNow, class Visit>
  void search(BoxNow box, Visit visit) const;

  /// The lowest level first, its children are the circles; the last level is one node.
  mutable std::vector<Node> nodes_;
  /// Where each level begins in `nodes_`.
  mutable std::vector<std::size_t> levels_;
  /// Of the packed circles; 0 for those that were erased.
  mutable std::vector<std::uint64_t> ids_;
  mutable std::vector<Entry> fresh_;
  mutable std::size_t erased_ = 0;
};

}  // namespace ks
