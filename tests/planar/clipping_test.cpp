#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <gtest/gtest.h>
#include <random>
#include <tuple>
#include <utility>
#include <vector>

#include "geom/planar/clip_polygon.h"
#include "geom/planar/line_clipping.h"
#include "geom/planar/screen_picking.h"
#include "geom/planar/triangle_clipping.h"
#include "geom/spatial/ray.h"

#include "tests/support/mesh_checks.h"

namespace qvGeom {
namespace {

using qvLinear::HPoint;
using qvLinear::Line;
using qvLinear::ProjMatrixFlt;
using qvLinear::Range2d;
using Real = long double;
using Found = std::vector<std::pair<int, double>>;

// Share of a triangle that is in view: what nine sides leave of the plane of two weights, summed along their
// lines. Of a segment the share is positive if some of it is in view.
double visibleShare(const Clip::Vertex& a, const Clip::Vertex& b, const Clip::Vertex& c) {
  std::vector<std::array<Real, 3>> forms{{0, 1, 0}, {0, 0, 1}, {1, -1, -1}};  // f0 + f1 s + f2 t >= 0
  for (int k = 0; k < 6; ++k) {
    const auto inside = [k](const Clip::Vertex& p) {
      return Real{p.w} + (k % 2 ? -1 : 1) * Real{(&p.x)[k / 2]};
    };
    forms.push_back({inside(a), inside(b) - inside(a), inside(c) - inside(a)});
  }
  Real area = 0;
  for (const auto& f : forms) {
    const Real square = f[1] * f[1] + f[2] * f[2], s = -f[0] * f[1] / square, t = -f[0] * f[2] / square;
    Real from = -INFINITY, to = INFINITY;
    for (const auto& g : forms) {
      const Real here = g[0] + g[1] * s + g[2] * t, slope = g[1] * f[2] - g[2] * f[1];
      if (slope > 0) from = std::max(from, -here / slope);
      if (slope < 0) to = std::min(to, -here / slope);
      if (slope == 0 && &f != &g && here < 0) to = -INFINITY;
    }
    if (from < to) area += (to - from) * (-s * f[1] - t * f[2]);
  }
  return static_cast<double>(area);
}

TEST(ClipSpace, SidesAreStrictAndSharedOnesDecide) {
  const float over = std::nextafter(1.0f, 2.0f);
  ProjMatrixFlt m;
  qv::vector<Clip::Vertex> out;
  const float points[][4] = {{1, -1, 1, 1},
                             {over, -over, over, 1},
                             {-over, over, -kMax, 1},
                             {0, 0, 0, -1},
                             {kNan, kInf, 0, 1}};  // with w
  const int codes[] = {0, 2 | 4 | 32, 1 | 8 | 16, 31, 0};
  for (int i = 0; i < 5; ++i) {
    const auto& p = points[i];
    const int code = codes[i];
    m.m[15] = p[3];
    EXPECT_EQ(Clip::projectVertices(p, 1, m, out, false), code ? Clip::Culled : Clip::Visible);
    EXPECT_EQ(out.at(0).outcode, code);
    Clip::projectVertices(p, 1, m, out, true);
    EXPECT_EQ(out.empty(), Clip::evaluatePoint(p, m));
  }
  const float around[] = {-3, 0, 0, 3, 3, 0, 0, 0, 0};
  for (const auto& [count, result] : {std::pair{2, Clip::Clipped}, {3, Clip::Visible}, {-1, Clip::Culled}})
    EXPECT_EQ(Clip::clipVertices(around, count, {}), result);
  const Range2d window({-0.5, -0.75}, {0.25, 0.875});
  const double low[] = {-1, -1, -1}, high[] = {1, 1, 1}, lowInWindow[] = {-0.5, -0.75, -1},
               highInWindow[] = {0.25, 0.875, 1};
  for (int axis = 0; axis < 3; ++axis)
    for (const double at : {-1.125, -1.0, -0.75, -0.5, 0.25, 0.875, 1.0, 1.125})
      for (const double far : {-5, 5}) {  // a flat box across another axis, one of whose corners decides
        double numbers[] = {0, 0, 0, 0, 0, 0};
        numbers[axis] = numbers[3 + axis] = at;
        const int across = (axis + 1) % 3;
        (far < 0 ? numbers[across] : numbers[3 + across]) = far;
        const auto isWithin = [&](const double* from, const double* to) {
          return at >= from[axis] && at <= to[axis];
        };
        EXPECT_EQ(bboxClipTest(BoundingBox(numbers), {}), isWithin(low, high));
        EXPECT_EQ(bboxClipTest(BoundingBox(numbers), {}, window), isWithin(lowInWindow, highInWindow));
      }
  EXPECT_FALSE(bboxClipTest(BoundingBox(), {}));
}

TEST(ClipTriangle, KeepsWhatLiesInTheBox) {
  const ClipPolygon triangle{3, 15, {{{0, 0, 0, 1}}, {{2, 0, 0, 1}}, {{0, 0.5, 0, 1}}}};
  ClipPolygon p = triangle;
  const auto expectCorners = [&p](const std::vector<double>& expected) {
    std::vector<double> xy;
    for (int i = 0; i < p.numVertices; ++i) xy.insert(xy.end(), p.vertices[i].c, p.vertices[i].c + 2);
    EXPECT_EQ(xy, expected);
  };
  EXPECT_EQ(clipTriangle(p, {}), Intersecting);
  expectCorners({0, 0, 1, 0, 1, 0.25, 0, 0.5});
  EXPECT_EQ(clipTriangle(p, {0, 1, 0, 0.5}), Contained);
  EXPECT_EQ(clipTriangle(p, {0, 1, 0, 0.25}), Intersecting);
  expectCorners({0, 0.25, 0, 0, 1, 0, 1, 0.25, 1, 0.25});
  EXPECT_EQ(clipTriangle(p = triangle, {0.25, 0.75, 0.125, 0.1875}), Intersecting);
  expectCorners({0.25, 0.1875, 0.25, 0.125, 0.75, 0.125, 0.75, 0.1875});
  for (const ClipBox& box : {ClipBox{-1, 1, -1, 1, 0.1, 1}, {-1, 1, -1, 1, -1, -0.1}})
    EXPECT_EQ(clipTriangle(p = triangle, box), Disjoint);
  for (const int n : {-1, 11}) EXPECT_EQ(clipTriangle(p = {n, 15, {}}, {}), Disjoint);
  p.numVertices = 10;  // to and fro: there is no room for what is left of it
  for (int i = 0; i < 10; ++i) p.vertices[i] = {{i % 2 ? 9.0 : 0.0, 0, 0, 1}};
  EXPECT_EQ(clipTriangle(p, {}), Disjoint);
}

struct Seen {
  Clip::TriangleAlgorithm triangles;
  Clip::LineAlgorithm lines;
  std::vector<double> share = std::vector<double>(50);  // in texture coordinates; backs negative
  int calls = 0, most = INT_MAX;
  Found found;  // segments, with x of their first ends
};
bool seeTriangle(void* user, const HPoint&, const HPoint&, const HPoint&) {
  Seen& seen = *static_cast<Seen*>(user);
  MeshUV p, q, r;
  seen.triangles.getUVs(p, q, r);
  const float area = (q.u - p.u) * (r.v - p.v) - (q.v - p.v) * (r.u - p.u);
  seen.share[seen.triangles.getTriangleNum()] += seen.triangles.isFrontFacing() ? area : -area;
  return ++seen.calls < seen.most;
}
bool seeLine(void* user, const HPoint& a, const HPoint&) {
  Seen& seen = *static_cast<Seen*>(user);
  seen.found.emplace_back(seen.lines.getLineSegmentNum(), a[0]);
  return false;
}

// In every other scene some points are behind the eye.
TEST(Clip, ShowsWhatIsInView) {
  for (unsigned seed = 0; seed < 128; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> entry(-0.3f, 0.3f);
    CompactMesh mesh = shapes::soup(150, 50, random);
    ProjMatrixFlt m;
    for (float& e : m.m) e += entry(random);
    m.m[15] = seed % 2 ? 0.5f : 1.3f;
    qv::vector<Clip::Vertex> v;
    Clip::projectVertices(mesh, m, v, false);

    Seen seen;
    float const* points = mesh.getVerticesRaw();
    const auto visible = [&v](int a, int b) { return visibleShare(v[a], v[b], v[b]) > 1e-12; };
    std::array<Found, 3> expected;  // strip, pairs of points, edges of triangles
    for (int i = 0; i < 149; ++i) {
      ASSERT_EQ(seen.lines.evaluateStrip(points + 3 * i, 2, m), visible(i, i + 1)) << i;
      if (visible(i, i + 1)) expected[0].emplace_back(i, v[i].x);
      if (visible(i, i + 1) && i % 2 == 0 && i < 148) expected[1].emplace_back(-1, v[i].x);
    }
    for (int t = 0, k; t < 50; ++t) {
      const int* c = mesh.getTriangles()[t].v;
      for (k = 0; k < 3 && !visible(c[k], c[(k + 1) % 3]);) ++k;
      if (k < 3) expected[2].emplace_back(-1, v[c[k]].x);
    }
    seen.lines.setLineFunc(seeLine, &seen);
    const auto check = [&](bool any, const Found& found) {
      EXPECT_EQ(any, !found.empty());
      EXPECT_EQ(std::exchange(seen.found, {}), found);
    };
    check(seen.lines.evaluateStrip(points, 150, m), expected[0]);
    check(seen.lines.evaluateSegments(points, 149, m), expected[1]);
    check(seen.lines.evaluateMesh(mesh, m), expected[2]);

    const bool selected = seed & 2, front = seed & 4, back = seed & 8, clockwise = seed & 16;
    mesh.allocUVArray();
    mesh.getSelectedTriangles().resize(50);
    bool any = false;
    std::vector<double> share;
    for (int t = 0, n = 0; t < 50; ++t, n += 3) {
      if (t % 3) mesh.getSelectedTriangles().setBit(t);
      mesh.getTriangles()[t] = {{n, n + 1, n + 2}};
      mesh.getUVs()[n + 1].u = mesh.getUVs()[n + 2].v = 1;
      const Clip::Vertex &a = v[n], &b = v[n + 1], &c = v[n + 2];
      const bool left = (b.x - a.x) * (c.y - a.y) > (b.y - a.y) * (c.x - a.x);
      const bool isFront = left != clockwise, hidden = (isFront ? front : back) || (selected && t % 3 == 0);
      share.push_back(hidden ? 0 : (isFront ? 1 : -1) * visibleShare(a, b, c));
      any = any || share.back() != 0;
    }
    seen.triangles.setSelectedTrianglesOnly(selected);
    seen.triangles.setCullFaces(front, back);
    seen.triangles.setClockwiseFront(clockwise);
    seen.triangles.setTriangleFunc(seeTriangle, &seen);
    EXPECT_EQ(seen.triangles.evaluateMesh(mesh, m), any);
    for (int t = 0; t < 50; ++t) ASSERT_NEAR(seen.share[t], share[t], 1e-5) << t;
    seen.most = std::exchange(seen.calls, 0) / 2;
    EXPECT_EQ(seen.triangles.evaluateMesh(mesh, m), any);
    EXPECT_EQ(seen.calls, any ? std::max(seen.most, 1) : 0);
  }
}

TEST(Clip, FewPointsAndCorners) {
  Seen seen;
  const float through[] = {2, 2, 2, -2, -2, -2, 0, 0, 0};
  for (const int n : {-1, 1}) EXPECT_FALSE(seen.lines.evaluateSegments(through + 6, n, {}));
  EXPECT_TRUE(seen.lines.evaluateStrip(through, 2, {}));
  EXPECT_FALSE(seen.triangles.evaluateMesh(shapes::make({{0, 1, 1}}), {}));
  EXPECT_FALSE(seen.lines.evaluateMesh(shapes::make({{0, 0, 0}}), {}));
  EXPECT_TRUE(seen.triangles.evaluateMesh(shapes::make(shapes::Points(3), {}), {}));
  seen.triangles.setTriangleFunc(seeTriangle, &seen);
  for (const bool clockwise : {false, true}) {  // without area: neither side
    seen.triangles.setClockwiseFront(clockwise);
    EXPECT_TRUE(seen.triangles.evaluateMesh(shapes::make(shapes::Points(3), {{0, 1, 2}}), {}));
    EXPECT_EQ(seen.triangles.isFrontFacing(), !clockwise);
  }
}

TEST(ScreenPicking, AgreesWithAllTrianglesOneByOne) {
  std::mt19937 random(3);
  CompactMesh mesh = shapes::soup(20000, 6000, random);
  mesh.resizeTriangleArray(12000);  // each twice: the lower number wins, also across threads
  std::copy_n(mesh.getTriangles(), 6000, mesh.getTriangles() + 6000);
  mesh.getVertices()[0] = {kNan, kInf, 0};
  ProjMatrixFlt screen;
  screen.m[0] = screen.m[5] = 100;
  for (int y = -90, x = 80; y < 90; y += 5, x = -x + y % 3) {
    SCOPED_TRACE(y);
    const Line line({x / 100.0, y / 100.0, -2}, {0, 0, 1});
    const qvLinear::PointFlt origin(line.origin);
    const Ray ray(origin, line.direction);
    MeshCoord best;
    for (int i = 0; i < 12000; ++i) {
      const double nearest = ray.triIntersectionRayParam();
      ray.intersects(mesh.getTriangles()[i], mesh.getVertices());
      const double u = ray.triIntersectionBaryU(), v = ray.triIntersectionBaryV();
      if (ray.triIntersectionRayParam() < nearest) best = {{{1 - u - v, u, v}, i}};
    }
    forThreadCounts([&] {
      EXPECT_EQ(meshRayIntersectScreen(mesh, screen, x, y, std::abs(y % 2), line), best);
      EXPECT_EQ(meshRayIntersectScreen(mesh, {}, line), best);
    });
  }
}

// Windows: x, y, half the size, w.
TEST(ScreenPicking, PassesOverWhatIsBesideTheWindow) {
  const CompactMesh mesh =
      shapes::make(shapes::Points{{0.1f, 0.1f, 0}, {1, 0, 0}, {0.1f, 1, 0}}, {{0, 1, 2}});
  const int picked[][4] = {
      {0, 0, 1, 1}, {2, 0, 1, 1}, {-1, -1, 1, -1}, {INT_MAX, 0, INT_MAX, 1}, {9, 9, 1, 0}};
  const int beside[][4] = {{3, 0, 1, 1},  {-2, 0, 1, 1},     {0, -2, 1, 1},
                           {0, 3, 1, 1},  {3, 0, 1, 2},      {INT_MIN, 0, INT_MAX, 1},
                           {0, 0, -2, 1}, {0, 0, INT_MIN, 1}};
  const Line line({0.25, 0.25, -1}, {0, 0, -1});  // hits behind its origin
  const auto pick = [&](const int(&window)[4]) {
    ProjMatrixFlt m;
    m.m[15] = static_cast<float>(window[3]);
    return meshRayIntersectScreen(mesh, m, window[0], window[1], window[2], line).triangle;
  };
  for (const auto& window : picked) EXPECT_EQ(pick(window), 0) << window[0];
  for (const auto& window : beside) EXPECT_EQ(pick(window), -1) << window[0] << ' ' << window[1];
}

}  // namespace
}  // namespace qvGeom
