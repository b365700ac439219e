#pragma once

// What the benchmarks of spatial queries share: one mesh in three sizes, and the queries that are put to it.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "geom/model/keel/matrices.h"
#include "geom/model/keel/vectors.h"
#include "geom/model/trellis/bounding_box.h"
#include "geom/model/trellis/compact_mesh.h"
#include "geom/model/trellis/octree.h"
#include "geom/model/trellis/octree_records.h"

namespace qvGeom {

/// Closed surface of about the given number of triangles around the origin: radius 10 with waves of 10 % and
/// a roughness of a tenth of an edge. Every ray from the origin meets it once, so that it cannot cross
/// itself. Triangles run row by row over the six sides of a cube.
CompactMesh noisySphere(std::int64_t triangles);

/// The mesh with its octree and partition, built on one thread.
struct SpatialScene {
  explicit SpatialScene(std::int64_t triangles);

  CompactMesh mesh;
  BoundingBox box;
  Octree octree;
  OctreeTris octreeTris;
  double edge;  // length of a typical one
};

/// The scene of that many triangles, made once.
const SpatialScene& spatialScene(std::int64_t triangles);

// Coordinates and directions are floats throughout, so that libraries of either precision get the same query.

struct Shot {
  qvLinear::PointFlt origin;
  qvLinear::VectorFlt dir;
};
using Points = std::vector<qvLinear::PointFlt>;
using Shots = std::vector<Shot>;

/// Points of random triangles, moved by up to half an edge.
Points pointsNear(const SpatialScene& scene, std::size_t count);
/// Anywhere in one and a half times the box.
Points pointsAround(const SpatialScene& scene, std::size_t count);
/// From one point there to another; neither unit length nor any order.
Shots shotsAround(const SpatialScene& scene, std::size_t count);

constexpr int kImageSide = 512;  // pixels, even
/// Rays of unit length through the pixels of an image that the surface about fills, in blocks of two by two.
Shots cameraShots();
/// Groups of four from one place just above a random triangle, each into a quarter of the half space outside.
Shots shotsOutward(const SpatialScene& scene, std::size_t groups);

/// Puts a second copy across the first: the surfaces cross along curves all over.
qvLinear::AffineMatrix turnOfCopy();

}  // namespace qvGeom
