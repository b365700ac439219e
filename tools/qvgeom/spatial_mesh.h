#pragma once

#include <memory>
#include <string>

#include "geom/qvGeom.h"

#include "console.h"

namespace tool {

/// A mesh with the records that spatial queries walk. Queries keep references to it: it stays where it is.
class SpatialMesh {
 public:
  SpatialMesh() = default;
  SpatialMesh(const SpatialMesh&) = delete;
  SpatialMesh& operator=(const SpatialMesh&) = delete;

  qvGeom::CompactMesh mesh;

  /// Builds the records of the mesh as it is; from then on its geometry must not change. The records are the
  /// same for every number of threads. Throws a failure: interrupted.
  /// @param share of the console's progress
  /// @param perLeaf vertices in a voxel at most; the default suits nearest points, packets of rays like fewer
  void index(double share, Console& console, int perLeaf = 16);

  /// Without voxels before `index`, and for a mesh without vertices.
  const qvGeom::Octree& octree() const { return *octree_; }
  const qvGeom::OctreeTris& octreeTris() const { return octreeTris_; }

 private:
  std::unique_ptr<const qvGeom::Octree> octree_ = std::make_unique<qvGeom::Octree>();
  qvGeom::OctreeTris octreeTris_;
};

/// Merges vertices by position alone, which loses the normals; triangles keep their numbers. For files whose
/// triangles have corners of their own: neighbours are then known as such.
/// @param remap receives the new number of every old vertex
/// Throws a failure: interrupted.
void weldPositions(qvGeom::CompactMesh& mesh, Console& console, qvGeom::Remap& remap);

/// Gives every vertex the mean normal of the triangles around its position, whether or not they share the
/// vertex. Vertices and triangles keep their numbers. Throws a failure: interrupted.
void computeNormalsByPosition(qvGeom::CompactMesh& mesh, Console& console);

/// Exponent of a power of two that brings the mesh to a size for which the fixed bounds of the ray tests are
/// fine enough, whatever unit it is in. Scaling by it is exact. 0 for a mesh without extent.
int workingExponent(const qvGeom::CompactMesh& mesh);
/// Diagonal of a mesh that was scaled so, to within a factor of two.
inline constexpr int kWorkingSizeExponent = 10;

}  // namespace tool
