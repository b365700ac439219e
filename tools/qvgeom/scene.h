#pragma once

#include <vector>

#include "geom/qvGeom.h"

#include "console.h"
#include "spatial_mesh.h"

namespace tool {

/// A mesh made ready for a picture: staged, with normals that keep edges sharp.
class Scene {
 public:
  /// @param scalars empty, or one number for each vertex of the mesh
  /// @param supplied whether normals that the mesh has are used
  /// Throws a failure: interrupted.
  Scene(const qvGeom::CompactMesh& mesh, const std::vector<double>& scalars, bool supplied, Console& console);

  bool empty() const { return surface_.mesh.getNumTriangles() == 0; }
  const SpatialMesh& surface() const { return surface_; }
  const qvGeom::CompactMesh& mesh() const { return surface_.mesh; }

  /// Unit normal of the triangle's plane; zero if it has none.
  qvLinear::Vector flatNormal(int triangle) const;
  /// The surface as its normals tell that it was before it was cut into triangles.
  struct Rounded {
    qvLinear::Vector normal;  ///< of unit length, on the side of the flat one
    qvLinear::Vector
        lift;  ///< from the flat surface, where the rounded one bulges out on the side of `normal`
    qvLinear::Vector sink;  ///< the same for the other side
  };
  Rounded rounded(const qvGeom::MeshCoord& at) const;

  bool hasScalars() const { return !scalars_.empty(); }
  double scalar(const qvGeom::MeshCoord& at) const;

 private:
  void measureFacets();
  qvLinear::Vector cornerNormal(int triangle, int corner) const;

  SpatialMesh surface_;
  std::vector<double> scalars_;              // [V]
  std::vector<qvLinear::VectorFlt> facets_;  // [T] normals, as long as twice the area
  // For each corner the triangles around its position, where there are no supplied normals.
  qvGeom::CompactMesh welded_;
  qvGeom::MeshAdjTris around_;
};

}  // namespace tool
