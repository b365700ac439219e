#include "geom/spatial/closest_point_on_line.h"

#include <cstddef>
#include <memory>

#include "geom/spatial/octree_partition.h"
#include "geom/topology/measures.h"

namespace qvGeom {

using qvLinear::Point;

namespace {

bool isAt(const MeshVertex& a, const MeshVertex& b) { return a.x == b.x && a.y == b.y && a.z == b.z; }

}  // namespace

MeshClosestPtOnLine::MeshClosestPtOnLine(CompactMesh const& mesh, MeshAdjTris const& /*adjTris*/,
                                         MeshSequence const& sequence)
    : mesh_(mesh), octree_(nullptr), octreeTris_(new OctreeTris) {
  const auto isOnMesh = [&](const MeshCoord& c) { return c.valid() && c.triangle < mesh.getNumTriangles(); };
  coords_.reserve(static_cast<std::size_t>(sequence.getNumCoords()));
  lines_.resizeVertexArray(sequence.getNumCoords());
  lines_.resizeTriangleArray(sequence.getNumCoords());
  int segments = 0;
  for (int run = 0; run < sequence.getNumRuns(); ++run) {
    MeshCoord const* coords = sequence.getRun(run);
    const int length = sequence.getRunLength(run);
    for (int begin = 0; begin < length; ++begin) {
      int end = begin;
      while (end < length && isOnMesh(coords[end])) ++end;
      addRun(end - begin, coords + begin, segments);
      begin = end;
    }
  }
  lines_.resizeVertexArray(static_cast<int>(coords_.size()));
  lines_.resizeTriangleArray(segments);
  BoundingBox box;
  meshBoundingBox(lines_, box);
  octree_ = new Octree(lines_.getNumVertices(), lines_.getVerticesRaw(), box, true, 16);
  computeOctreeTris(lines_, *octree_, *octreeTris_);
  closest_ = std::make_unique<MeshClosestPoint>(lines_, *octree_, *octreeTris_);
}

MeshClosestPtOnLine::~MeshClosestPtOnLine() = default;

// @param segments how many there are
void MeshClosestPtOnLine::addRun(int n, MeshCoord const* run, int& segments) {
  if (n <= 0) return;
  const int first = static_cast<int>(coords_.size());
  MeshVertex* points = lines_.getVertices() + first;
  bool isLone = true;  // the search passes over segments without length
  for (int i = 0; i < n; ++i) {
    coords_.push_back(run[i]);
    points[i].set(run[i].evaluate(mesh_.getVertices(), mesh_.getTriangles()).data());
    isLone = isLone && isAt(points[i], points[0]);
  }
  if (isLone) return lone_.push_back(first);
  for (int i = first; i + 1 < first + n; ++i)
    lines_.getTriangles()[segments++] = MeshTriangle{{i, i + 1, i + 1}};
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
