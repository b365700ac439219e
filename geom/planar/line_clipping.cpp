#include "geom/planar/line_clipping.h"

#include <array>
#include <cstddef>
#include <cstdint>

#include "geom/planar/clip_projection.h"

namespace qvGeom::Clip {

using qvLinear::HPoint;
using qvLinear::ProjMatrixFlt;

namespace {

constexpr int kMaskX = BelowX | AboveX;
constexpr int kMaskY = BelowY | AboveY;
constexpr int kMaskZ = BelowZ | AboveZ;
constexpr int kMasks[3] = {kMaskX, kMaskY, kMaskZ};

// On how many axes a point is outside, and the sides of those axes; no mask for three.
struct OutcodeInfo {
  std::uint8_t axes = 0;
  std::uint8_t mask = 0;
};

// All 64 codes: a point behind the eye is beyond both sides of an axis, which counts once.
constexpr std::array<OutcodeInfo, 64> kOutcodes = [] {
  std::array<OutcodeInfo, 64> table;
  for (int code = 0; code < 64; ++code) {
    OutcodeInfo& info = table[static_cast<std::size_t>(code)];
    for (const int mask : kMasks) {
      if ((code & mask) == 0) continue;
      ++info.axes;
      info.mask = static_cast<std::uint8_t>(info.mask | mask);
    }
    if (info.axes == 3) info.mask = 0;
  }
  return table;
}();

const OutcodeInfo& infoOf(const Vertex& v) { return kOutcodes[static_cast<std::size_t>(v.outcode)]; }

// Crossings are compared with w widened by about eight roundings: a segment into a corner of the view would
// otherwise slip out between the sides.
constexpr double kWiden = 1.0000009536743164;

// Whether the segment from `a`, which is beyond a side of the view, passes through that side. The side is at
// sign w.
bool crossesSide(const HPoint& a, const HPoint& b, int axis, double sign) {
  const double beyondA = sign * a[axis] - a[3];
  const double beyondB = sign * b[axis] - b[3];
  if (!(beyondA > 0 && beyondB <= 0)) return false;
  const double t = beyondA / (beyondA - beyondB);
  const auto at = [&](int k) { return a[k] + t * (b[k] - a[k]); };
  const double w = kWiden * at(3);
  const double first = at((axis + 1) % 3);
  const double second = at((axis + 2) % 3);
  return -w < first && first < w && -w < second && second < w;
}

}  // namespace

void LineAlgorithm::setLineFunc(LineFunc func, void* user) {
  func_ = func;
  user_ = user;
  segment_ = -1;
}

bool LineAlgorithm::evaluateStrip(const float* points, int count, const ProjMatrixFlt& m) {
  return evaluatePoints(points, count, m, 1);
}

bool LineAlgorithm::evaluateSegments(const float* points, int count, const ProjMatrixFlt& m) {
  return evaluatePoints(points, count, m, 2);
}

bool LineAlgorithm::evaluatePoints(const float* points, int count, const ProjMatrixFlt& m, int step) {
  segment_ = -1;
  if (count < 2) return false;
  const Result result = projectVertices(points, count, m, vertices_, !func_);
  if (result == Culled || (result == Visible && !func_)) return result == Visible;
  bool anyVisible = false;
  for (std::size_t i = 0; i + 1 < vertices_.size(); i += static_cast<std::size_t>(step)) {
    if (step == 1) segment_ = static_cast<int>(i);
    if (!evaluateSegment(vertices_[i], vertices_[i + 1])) continue;
    anyVisible = true;
    if (!func_) break;
  }
  return anyVisible;
}

bool LineAlgorithm::evaluateMesh(const CompactMesh& mesh, const ProjMatrixFlt& m) {
  segment_ = -1;
  if (mesh.getNumVertices() < 2) return false;
  const Result result = projectVertices(mesh, m, vertices_, !func_);
  if (result == Culled || (result == Visible && !func_)) return result == Visible;
  MeshTriangle const* triangles = mesh.getTriangles();
  bool anyVisible = false;
  for (int t = 0; t < mesh.getNumTriangles(); ++t) {
    const Vertex& a = vertices_[static_cast<std::size_t>(triangles[t][0])];
    const Vertex& b = vertices_[static_cast<std::size_t>(triangles[t][1])];
    const Vertex& c = vertices_[static_cast<std::size_t>(triangles[t][2])];
    if (!evaluateSegment(a, b) && !evaluateSegment(b, c) && !evaluateSegment(c, a)) continue;
    anyVisible = true;
    if (!func_) break;
  }
  return anyVisible;
}

bool LineAlgorithm::evaluateSegment(const Vertex& a, const Vertex& b) {
  if ((a.outcode & b.outcode) != 0) return false;
  if (!intersects(a, b)) return false;
  if (func_) func_(user_, pointOf(a), pointOf(b));
  return true;
}

bool LineAlgorithm::intersects(const Vertex& a, const Vertex& b) const {
  const OutcodeInfo& atA = infoOf(a);
  const OutcodeInfo& atB = infoOf(b);
  if (atA.axes == 0 && atB.axes == 0) return true;
  // On both sides of the view, between the others.
  if (!func_ && atA.axes == 1 && atB.axes == 1 && atA.mask == atB.mask) return true;
  if (atA.axes == 1) return intersectsFace(a, b, atA.mask);
  if (atB.axes == 1) return intersectsFace(b, a, atB.mask);
  if (atA.axes == 2) return intersectsEdge(a, b, atA.mask);
  if (atB.axes == 2) return intersectsEdge(b, a, atB.mask);
  // The end outside comes first: a segment enters the view through a side that its outer end is beyond.
  return atA.axes == 3 ? intersectsCorner(a, b) : intersectsCorner(b, a);
}

// Only a point behind the eye is beyond both sides, and its z says so of the low side alone; hence the sides
// are asked of the coordinates.
bool LineAlgorithm::intersectsFace(const Vertex& a, const Vertex& b, int mask) const {
  const int axis = mask == kMaskX ? 0 : mask == kMaskY ? 1 : 2;
  const HPoint p = pointOf(a);
  const HPoint q = pointOf(b);
  return crossesSide(p, q, axis, -1) || crossesSide(p, q, axis, 1);
}

bool LineAlgorithm::intersectsEdge(const Vertex& a, const Vertex& b, int mask) const {
  for (const int face : kMasks)
    if ((mask & face) != 0 && intersectsFace(a, b, face)) return true;
  return false;
}

bool LineAlgorithm::intersectsCorner(const Vertex& a, const Vertex& b) const {
  for (const int face : kMasks)
    if (intersectsFace(a, b, face)) return true;
  return false;
}

}  // namespace qvGeom::Clip
