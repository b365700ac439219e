#pragma once

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/keel/reference.h"
#include "geom/model/keel/vectors.h"
#include "geom/model/trellis/compact_mesh.h"

namespace qvGeom {

/// Integrals over a list of meshes taken together.
///
/// Integrals over the enclosed volume are sums over triangles, by the divergence theorem: the meshes should
/// be closed, with triangles counter-clockwise seen from outside; meshes wound the other way count with the
/// opposite sign. Moments can be taken along each of the three axes. For closed meshes all three agree but
/// for rounding, so that their difference tells an open mesh.
///
/// All sums are in double, in the order of the meshes and their triangles, on the calling thread; only the
/// area and the boxes use the shared pool. Indices are assumed in range. Finite vertices give finite results.
/// An empty list gives zeros. Each call is O(V + T).
class QVGEOM_API MeshMassCalculator {
 public:
  enum Axis : int { AxisX = 0, AxisY = 1, AxisZ = 2 };

  /// The corners of a triangle.
  using Corners = qvLinear::Point[3];

  /// Keeps the meshes, in this order; null references are left out.
  explicit MeshMassCalculator(qv::list<qv::Reference<CompactMesh>>& meshes);

  /// Sum of meshArea over the meshes. An area that no float can hold counts as the largest float.
  double calculateArea() const;

  /// Enclosed volume, integrated along x from the middle of the last mesh's box: for open meshes the result
  /// depends on that. Prints what meshBoundingBox does for each mesh.
  double calculateVolume() const;

  /// Integrals of x, y and z over the enclosed volume, as the flux along `axis`. For another axis they are 0.
  void calculateFirstMom(double& x, double& y, double& z, Axis axis) const;

  /// The same of the squares of x, y and z.
  void calculateSecondMom(double& x, double& y, double& z, Axis axis) const;

  /// Average over the meshes, whatever their sizes, of the centroid of each mesh's surface. A mesh without
  /// area counts with (0, 0, 0).
  void calculateCentroid(double& x, double& y, double& z) const;

  /// Adds the centroid of each mesh's surface to the results.
  void meshCentroid(double& x, double& y, double& z) const;

  /// The mean of the corners times the length of the triangle's cross product, twice its area, which is added
  /// to `weight`.
  static qvLinear::Vector triangleCentroid(const Corners& p, double& weight);
  /// A triangle's share of the volume: of what lies between it and the plane x = xRef.
  static double integrate(const Corners& p, double xRef);
  /// These add a triangle's share of the moments, as the flux along the axis that they are named for.
  static void firstMomentTriX(const Corners& p, double& x, double& y, double& z);
  static void firstMomentTriY(const Corners& p, double& x, double& y, double& z);
  static void firstMomentTriZ(const Corners& p, double& x, double& y, double& z);
  static void secondMomentTriX(const Corners& p, double& x, double& y, double& z);
  static void secondMomentTriY(const Corners& p, double& x, double& y, double& z);
  static void secondMomentTriZ(const Corners& p, double& x, double& y, double& z);

 private:
  qv::list<qv::Reference<CompactMesh>> meshes_;
};

}  // namespace qvGeom
