#pragma once

#include "geom/model/keel/export.h"
#include "geom/model/keel/vectors.h"

namespace qvGeom {

/// Finds the samples of a grid that triangles in the unit square cover.
///
/// Sample (i, j), column and row, lies at ((i + m) / (width - 1 + 2 m), (j + m) / (height - 1 + 2 m)) for a
/// margin of m, computed in double and rounded to float. Without a margin the outermost samples lie on the
/// sides of the square, with one they lie that many samples inside. An axis for which this is not finite, as
/// with one sample and no margin, has all its samples at 0.
///
/// A sample is covered when the three edges of the triangle, with its corners sorted by y, have it on the
/// same side, where an edge itself counts as its left. So samples on edges belong to triangles that run
/// counter-clockwise when sorted and not to the others; a triangle without area covers the samples in line
/// with it. Corners at one height keep their order.
///
/// Settings stay until they are changed. One thread at a time.
class QVGEOM_API MeshScanConverter {
 public:
  /// Receives a covered sample and the weights of the second and the third corner there.
  using PointSampleFunc = void (*)(void* user, int x, int y, float second, float third);
  /// Receives the numbers of columns and rows that a triangle reaches over, before its samples.
  using TriangleFunc = void (*)(void* user, int columns, int rows);

  /// @param width, height of the grid; without a positive size there are no samples
  /// @param margin between the unit square's border and the outermost samples, in samples
  MeshScanConverter(int width, int height, float margin);

  void setPointSampleCB(PointSampleFunc func, void* user);
  void setTriangleCB(TriangleFunc func, void* user);

  /// Visits the covered samples row by row, among columns floor(x (width - 1)) of the leftmost to ceil(x
  /// (width - 1)) of the rightmost corner, and rows likewise. These do not allow for the margin: with one, a
  /// triangle may reach samples beyond them, which are not visited. Weights are as accurate as single
  /// precision has them and a third each for a triangle without area (isPointInTriangleDefinitive).
  /// @return the number of samples, at most the largest int; 0 when a coordinate is not finite
  int scanTriangle(float x0, float y0, float x1, float y1, float x2, float y2);
  /// Visits one row from a column to another, inclusive, as far as they are on the grid: the samples that the
  /// triangle of the last `scanTriangle` covers, up to the first uncovered one after covered ones. Before a
  /// triangle the corners are all at the origin.
  /// @param p0, p1, p2 the triangle that the weights are for
  int scanSpan(const qvLinear::Point2Flt& p0, const qvLinear::Point2Flt& p1, const qvLinear::Point2Flt& p2,
               int firstColumn, int lastColumn, int row);

 private:
  float positionOf(int sample, int axis) const;

  int last_[2];  // column and row; -1 without samples
  double offset_[2];
  double scale_[2];
  qvLinear::Point2Flt sorted_[3];
  PointSampleFunc pointSample_ = nullptr;
  void* pointSampleUser_ = nullptr;
  TriangleFunc triangle_ = nullptr;
  void* triangleUser_ = nullptr;
};

}  // namespace qvGeom
