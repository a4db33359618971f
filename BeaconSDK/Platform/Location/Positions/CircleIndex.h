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
/// A packed tree of the boxes that hold the circles in space, with the earth as a unit sphere:
/// there neither the poles nor the antimeridian are special. New circles are searched one by one
/// until there are enough of them to pack the tree anew, which the next question does. A circle
/// takes 34 bytes; nothing is allocated to answer.
class CircleIndex {
 public:
  /// `id` must not be 0.
  void insert(std::uint64_t id, CLLocationCoordinate2D center, Metres radius);
  /// Takes what `insert` was given.
  void erase(std::uint64_t id, CLLocationCoordinate2D center, Metres radius);
  /// Appends at least all circles that contain the point, in no certain order.
  void around(CLLocationCoordinate2D point, std::vector<std::uint64_t>& ids) const;
  /// Appends at least all circles that the straight way touches, in no certain order.
  void along(CLLocationCoordinate2D from, CLLocationCoordinate2D to,
             std::vector<std::uint64_t>& ids) const;
  /// Calls `look` with the circles that may be nearer to the point than the distance that it last
  /// returned, beginning with `farthest`.
  void nearest(CLLocationCoordinate2D point, Metres farthest,
               const std::function<Metres(std::uint64_t)>& look) const;

 private:
  /// From low to high; single precision, rounded outwards.
  struct Box {
    std::array<float, 3> low;
    std::array<float, 3> high;
  };
  struct Entry {
    Box box;
    std::uint64_t id;
  };
  using Corner = std::array<float, 3>;

  static Box boxOf(CLLocationCoordinate2D center, Metres radius);
  static Box join(const Box& a, const Box& b);
  static bool meet(const Box& a, const Box& b);
  static float squaredDistance(const Box& box, const Corner& point);
  static std::uint64_t curveKey(const Box& box);

  bool eraseFrom(std::vector<Entry>& entries, std::uint64_t id);
  void pack() const;
  void packIfWorthwhile() const;
  /// Calls `visit` with each entry whose box and whose nodes' boxes `wanted` accepts.
  template <class Wanted, class Visit>
  void search(Wanted wanted, Visit visit) const;

  /// In the order of a curve through space; those that were erased have the id 0.
  mutable std::vector<Entry> packed_;
  /// The boxes of 16 entries each, then those of 16 of these each, and so on to one.
  mutable std::vector<Box> nodes_;
  /// Where each level begins in `nodes_`.
  mutable std::vector<std::size_t> levels_;
  mutable std::vector<Entry> fresh_;
  std::size_t erased_ = 0;
};

}  // namespace ks
