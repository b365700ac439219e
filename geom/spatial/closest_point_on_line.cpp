#include "geom/spatial/closest_point_on_line.h"

#include <cstddef>
#include <memory>

#include "geom/spatial/octree_partition.h"
#include "geom/topology/measures.h"

namespace qvGeom {

using qvLinear::Point;

MeshClosestPtOnLine::MeshClosestPtOnLine(CompactMesh const& mesh, MeshAdjTris const& /*adjTris*/,
                                         MeshSequence const& sequence)
    : mesh_(mesh), octree_(nullptr), octreeTris_(new OctreeTris) {
  const auto isOnMesh = [&](const MeshCoord& c) { return c.valid() && c.triangle < mesh.getNumTriangles(); };
  for (int run = 0; run < sequence.getNumRuns(); ++run) {
    MeshCoord const* coords = sequence.getRun(run);
    const int length = sequence.getRunLength(run);
    for (int begin = 0; begin < length; ++begin) {
      int end = begin;
      while (end < length && isOnMesh(coords[end])) ++end;
      addRun(end - begin, coords + begin);
      begin = end;
    }
  }
  BoundingBox box;
  meshBoundingBox(lines_, box);
  octree_ = new Octree(lines_.getNumVertices(), lines_.getVerticesRaw(), box, true, 16);
  computeOctreeTris(lines_, *octree_, *octreeTris_);
  closest_ = std::make_unique<MeshClosestPoint>(lines_, *octree_, *octreeTris_);
}

MeshClosestPtOnLine::~MeshClosestPtOnLine() = default;

void MeshClosestPtOnLine::addRun(int n, MeshCoord const* run) {
  if (n <= 0) return;
  const int first = lines_.getNumVertices();
  lines_.resizeVertexArray(first + n);
  for (int i = 0; i < n; ++i) {
    coords_.push_back(run[i]);
    lines_.getVertices()[first + i].set(run[i].evaluate(mesh_.getVertices(), mesh_.getTriangles()).data());
  }
  if (n == 1) lone_.push_back(first);
  const int segment = lines_.getNumTriangles();
  lines_.resizeTriangleArray(segment + n - 1);
  for (int i = 0; i + 1 < n; ++i)
    lines_.getTriangles()[segment + i] = MeshTriangle{{first + i, first + i + 1, first + i + 1}};
}

MeshCoord MeshClosestPtOnLine::operator()(const Point& p) {
  MeshCoord nearest;
  double best = closest_->compute(p, &nearest);
  int lone = -1;
  for (const int i : lone_) {
    const double d = distance(lines_.getVertices()[i].asPoint(), p);
    if (!(d < best)) continue;
    best = d;
    lone = i;
  }
  if (lone >= 0) return coords_[static_cast<std::size_t>(lone)];
  if (!nearest.valid()) return {};

  const Point onLine = nearest.evaluate(lines_.getVertices(), lines_.getTriangles());
  const MeshTriangle& segment = lines_.getTriangles()[nearest.triangle];
  MeshCoord result;
  double nearestTriangle2 = 0;
  for (const int end : {segment[0], segment[1]}) {
    const int tri = coords_[static_cast<std::size_t>(end)].triangle;
    const MeshCoord coord = meshTriClosestPt(mesh_.getVerticesRaw(), mesh_.getTrianglesRaw(), tri, onLine);
    if (!coord.valid()) continue;
    const double d2 = distance2(coord.evaluate(mesh_.getVertices(), mesh_.getTriangles()), onLine);
    if (result.valid() && !(d2 < nearestTriangle2)) continue;
    result = coord;
    nearestTriangle2 = d2;
  }
  return result;
}

}  // namespace qvGeom
