#pragma once

// One library's share of the side-by-side comparison. Every side gets the same mesh and the same queries.

#include <cstddef>
#include <memory>

#include "bench/spatial_scene.h"

namespace qvGeom {

/// What a workload found: the sides must agree on it, up to rounding.
struct Tally {
  std::size_t count = 0;  // of points found, rays that hit, or pairs
  double distance = 0;    // sum over them, zero for pairs
};

/// A library with its search structure built. What it does not offer stays empty.
class SpatialSide {
 public:
  SpatialSide() = default;
  SpatialSide(const SpatialSide&) = delete;
  SpatialSide& operator=(const SpatialSide&) = delete;
  virtual ~SpatialSide();

  virtual Tally closest(const Points&) { return {}; }
  /// Nearest hits; distances are ray parameters.
  virtual Tally nearestHits(const Shots&) { return {}; }
  /// The same, four at a time; all from one origin.
  virtual Tally nearestHitsByFour(const Shots&) { return {}; }
  virtual Tally selfIntersection() { return {}; }
  /// Crossing pairs of a triangle of the mesh and one of the turned copy; for each its segment is computed.
  virtual Tally crossTurnedCopy() { return {}; }
};

/// Makes a side, which includes every structure that its queries need; the mesh outlives it.
using MakeSide = std::unique_ptr<SpatialSide> (*)(const SpatialScene&);
std::unique_ptr<SpatialSide> makeOurs(const SpatialScene& scene);
std::unique_ptr<SpatialSide> makeCgal(const SpatialScene& scene);
/// With the widest vectors of the processor, and with those of four floats that our library is compiled for.
std::unique_ptr<SpatialSide> makeEmbree(const SpatialScene& scene);
std::unique_ptr<SpatialSide> makeEmbreeSse2(const SpatialScene& scene);

}  // namespace qvGeom
