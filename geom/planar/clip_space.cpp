#include "geom/planar/clip_space.h"

#include <algorithm>
#include <cstddef>

#include "geom/planar/clip_projection.h"

namespace qvGeom {

using qvLinear::ProjMatrixFlt;
using qvLinear::Range2d;

namespace {

// Whether not all corners of the box share an outcode.
template <typename OutcodeOf>
bool mayMeetView(const BoundingBox& box, const ProjMatrixFlt& m, const OutcodeOf& outcodeOf) {
  if (!box.isValid()) return false;
  const Clip::Projection projection(m);
  int shared = ~0;
  for (int k = 0; k < 8 && shared != 0; ++k) {
    float corner[3];
    box.getPoint(k, corner);
    shared &= outcodeOf(projection.apply(corner));
  }
  return shared == 0;
}

}  // namespace

bool bboxClipTest(const BoundingBox& box, const ProjMatrixFlt& m) {
  return mayMeetView(box, m, [](const Clip::Vertex& v) { return v.outcode; });
}

bool bboxClipTest(const BoundingBox& box, const ProjMatrixFlt& m, const Range2d& window) {
  return mayMeetView(box, m, [&window](const Clip::Vertex& v) {
    using namespace Clip;
    const double x = static_cast<double>(v.x);
    const double y = static_cast<double>(v.y);
    const double w = static_cast<double>(v.w);
    return (x < w * window.min[0] ? BelowX : 0) | (x > w * window.max[0] ? AboveX : 0) |
           (y < w * window.min[1] ? BelowY : 0) | (y > w * window.max[1] ? AboveY : 0) |
           (v.outcode & (BelowZ | AboveZ));
  });
}

namespace Clip {

Result clipVertices(const float* points, int count, const ProjMatrixFlt& m) {
  if (count <= 0) return Culled;
  const Projection projection(m);
  int shared = ~0;
  for (int i = 0; i < count; ++i) {
    const int outcode = projection.apply(points + 3 * std::ptrdiff_t{i}).outcode;
    if (outcode == 0) return Visible;
    shared &= outcode;
  }
  return shared == 0 ? Clipped : Culled;
}

Result clipVertices(const PointMesh& mesh, const ProjMatrixFlt& m) {
  return clipVertices(mesh.getVerticesRaw(), mesh.getNumVertices(), m);
}

bool evaluatePoint(const float* p, const ProjMatrixFlt& m) { return clipVertices(p, 1, m) == Visible; }

Result projectVertices(const float* points, int count, const ProjMatrixFlt& m, qv::vector<Vertex>& out,
                       bool stopEarly) {
  out.resize(static_cast<std::size_t>(std::max(count, 0)));
  const Projection projection(m);
  int shared = ~0;
  bool anyInside = false;
  for (Vertex& v : out) {
    v = projection.apply(points);
    points += 3;
    shared &= v.outcode;
    if (v.outcode != 0) continue;
    anyInside = true;
    if (stopEarly) break;
  }
  if (anyInside && stopEarly) out.clear();
  if (anyInside) return Visible;
  return shared == 0 ? Clipped : Culled;
}

Result projectVertices(const PointMesh& mesh, const ProjMatrixFlt& m, qv::vector<Vertex>& out,
                       bool stopEarly) {
  return projectVertices(mesh.getVerticesRaw(), mesh.getNumVertices(), m, out, stopEarly);
}

}  // namespace Clip
}  // namespace qvGeom
