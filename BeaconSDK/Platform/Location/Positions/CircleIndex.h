#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "BeaconSDK/Platform/Api/CoreLocation.h"

namespace ks {

/// Finds the circles around a point among very many.
///
/// An R-tree over the boxes that hold the circles in space, with the earth as a unit sphere: there
/// neither the poles nor the antimeridian are special.
class CircleIndex {
 public:
  CircleIndex();
  ~CircleIndex();

  void insert(std::uint64_t id, CLLocationCoordinate2D center, Metres radius);
  /// Takes what `insert` was given.
  void erase(std::uint64_t id, CLLocationCoordinate2D center, Metres radius);
  /// Appends at least all circles that contain the point, in no certain order.
  void around(CLLocationCoordinate2D point, std::vector<std::uint64_t>& ids) const;

 private:
  struct Tree;
  std::unique_ptr<Tree> tree_;
};

}  // namespace ks
