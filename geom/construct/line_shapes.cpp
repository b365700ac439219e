#include <cstddef>

#include "geom/construct/primitives.h"
#include "geom/construct/shape_build.h"

namespace qvGeom {

using qvLinear::Point;
using shape::Draft;

namespace {

constexpr char const* kLineParameter = "T";

// Lines (0, 1), (1, 2), ... through a few points, with a value each where `values` is not null.
bool replaceByLines(const Point* points, int n, const float* values, CompactMesh& mesh) {
  Draft draft(mesh, n, 0, shape::kPositions);
  CompactMesh& lines = draft.mesh();
  for (int i = 0; i < n; ++i) lines.getVertices()[i].set(points[i].data());
  lines.resizeLineArray(n - 1);
  for (int i = 0; i < n - 1; ++i) lines.getLines()[i] = {{i, i + 1}};
  if (values) {
    MeshAttributes* channel = lines.allocAttributes(kLineParameter, 1);
    for (int i = 0; i < n; ++i) channel->asFloat()[i] = values[i];
    channel->invalidateRange();
  }
  return draft.replace(mesh);
}

}  // namespace

void constructBoxEdgeLineStrips(const BoundingBox& box, CompactMesh& mesh) {
  if (!box.isValid()) return;
  static constexpr int kStrips[4][4] = {{0, 1, 5, 7}, {2, 0, 4, 5}, {1, 3, 2, 6}, {3, 7, 6, 4}};
  Draft draft(mesh, 8, 0, shape::kPositions);
  CompactMesh& edges = draft.mesh();
  for (int corner = 0; corner < 8; ++corner) box.getPoint(corner, &edges.getVertices()[corner].x);
  edges.resizeLineStripArrays(4, 16);
  for (int s = 0; s < 4; ++s) {
    edges.getLineStripLengths()[s] = 4;
    for (int i = 0; i < 4; ++i) edges.getLineStripPoints()[4 * s + i] = kStrips[s][i];
  }
  draft.replace(mesh);
}

void constructLineSegment(const Point& a, const Point& b, CompactMesh& mesh) {
  const Point ends[] = {a, b};
  replaceByLines(ends, 2, nullptr, mesh);
}

void constructLineSegment(const qvLinear::ParamLine& line, CompactMesh& mesh, float t0, float t1) {
  const Point ends[] = {line.origin, line.eval(1)};
  const float values[] = {t0, t1};
  replaceByLines(ends, 2, values, mesh);
}

qv::Reference<CompactMesh> constructInfiniteLine(const qvLinear::Line& line) {
  const Point points[] = {line.eval(-1), line.origin, line.eval(1)};
  const float values[] = {0, 1, 0};
  const qv::Reference<CompactMesh> mesh(new CompactMesh);
  return replaceByLines(points, 3, values, *mesh) ? mesh : qv::Reference<CompactMesh>();
}

namespace {

Point inSpace(const Point& p) { return p; }
template <typename T>
Point inSpace(const qvLinear::BasicPoint<T, 2>& p) {
  return {p[0], p[1], 0};
}

template <typename PointType>
qv::Reference<CompactMesh> lineStrip(const qv::vector<PointType>& points, bool closed) {
  if (points.size() < 2 || points.size() >= static_cast<std::size_t>(shape::kMaxElements)) return {};
  const int n = static_cast<int>(points.size());
  const int length = closed ? n + 1 : n;
  const qv::Reference<CompactMesh> mesh(new CompactMesh);
  Draft draft(*mesh, length, 0, shape::kPositions);
  CompactMesh& strip = draft.mesh();
  strip.resizeLineStripArrays(1, length);
  strip.getLineStripLengths()[0] = length;
  for (int i = 0; i < n; ++i) {
    strip.getVertices()[i].set(inSpace(points[static_cast<std::size_t>(i)]).data());
    strip.getLineStripPoints()[i] = i;
  }
  if (closed) {
    strip.getVertices()[n] = strip.getVertices()[0];
    strip.getLineStripPoints()[n] = 0;
  }
  return draft.replace(*mesh) ? mesh : qv::Reference<CompactMesh>();
}

}  // namespace

qv::Reference<CompactMesh> constructLineStrip(const qv::vector<qvLinear::Point2>& points, bool closed) {
  return lineStrip(points, closed);
}

qv::Reference<CompactMesh> constructLineStrip(const qv::vector<qvLinear::Point2Flt>& points, bool closed) {
  return lineStrip(points, closed);
}

qv::Reference<CompactMesh> constructLineStrip(const qv::vector<Point>& points, bool closed) {
  return lineStrip(points, closed);
}

}  // namespace qvGeom
