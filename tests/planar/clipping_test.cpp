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

std::vector<HPoint> project(const CompactMesh& mesh, const ProjMatrixFlt& m) {
  qv::vector<Clip::Vertex> out;
  Clip::projectVertices(mesh, m, out, false);
  std::vector<HPoint> points;
  for (const Clip::Vertex& v : out) points.push_back({v.x, v.y, v.z, v.w});
  return points;
}
// About the identity; if asked, some points of the cube [-2, 2]^3 are behind the eye.
ProjMatrixFlt randomView(std::mt19937& random, bool behindEye) {
  std::uniform_real_distribution<float> entry(-0.3f, 0.3f);
  ProjMatrixFlt m;
  for (float& e : m.m) e += entry(random);
  if (!behindEye) m.m[15] = 2.4f;
  return m;
}
CompactMesh randomMesh(int vertices, int triangles, std::mt19937& random) {
  CompactMesh mesh = shapes::soup(vertices, triangles, random);
  for (int i = 0; i < 3 * vertices; ++i) mesh.getVerticesRaw()[i] *= 2;
  return mesh;
}

// How far within a side of the view.
Real inside(const HPoint& p, int side) { return Real{p[3]} + (side % 2 ? -1 : 1) * Real{p[side / 2]}; }
// By shortening it side after side.
bool isVisible(const HPoint& a, const HPoint& b) {
  Real from = 0, to = 1;
  for (int k = 0; k < 6; ++k) {
    const Real start = inside(a, k), end = inside(b, k);
    if (start < 0) from = end > start ? std::max(from, start / (start - end)) : 2;
    if (end < 0) to = std::min(to, start / (start - end));
  }
  return from < to;
}
// Share of a triangle that is in view: what nine sides leave of the plane of two weights, summed along their
// lines.
double visibleShare(const HPoint (&p)[3]) {
  std::vector<std::array<Real, 3>> forms{{0, 1, 0}, {0, 0, 1}, {1, -1, -1}};  // f0 + f1 s + f2 t >= 0
  for (int k = 0; k < 6; ++k)
    forms.push_back({inside(p[0], k), inside(p[1], k) - inside(p[0], k), inside(p[2], k) - inside(p[0], k)});
  Real area = 0;
  for (const auto& f : forms) {
    const Real square = f[1] * f[1] + f[2] * f[2], s = -f[0] * f[1] / square, t = -f[0] * f[2] / square;
    Real from = -INFINITY, to = INFINITY;
    for (const auto& g : forms) {
      const Real here = g[0] + g[1] * s + g[2] * t, slope = g[1] * f[2] - g[2] * f[1];
      if (slope > 0) from = std::max(from, -here / slope);
      if (slope < 0) to = std::min(to, -here / slope);
    }
    if (from < to) area += (to - from) * (-s * f[1] - t * f[2]);
  }
  return static_cast<double>(area);
}

TEST(ClipSpace, SidesAreStrictAndSharedOnesDecide) {
  const float over = std::nextafter(1.0f, 2.0f);
  for (const auto& [p, w, code] : {std::tuple{std::array{1.0f, -1.0f, 1.0f}, 1.0f, 0},
                                   {{over, -over, over}, 1.0f, 2 | 4 | 32},
                                   {{-over, over, -kMax}, 1.0f, 1 | 8 | 16},
                                   {{0, 0, 0}, -1.0f, 31},
                                   {{kNan, kInf, 0}, 1.0f, 0}}) {
    ProjMatrixFlt m;
    m.m[15] = w;
    qv::vector<Clip::Vertex> out;
    EXPECT_EQ(Clip::projectVertices(p.data(), 1, m, out, false), code ? Clip::Culled : Clip::Visible);
    EXPECT_EQ(out.at(0).outcode, code);
    Clip::projectVertices(p.data(), 1, m, out, true);
    EXPECT_EQ(out.empty(), Clip::evaluatePoint(p.data(), m));
  }
  const float around[] = {-3, 0, 0, 3, 3, 0, 0, 0, 0};
  for (const auto& [count, result] : {std::pair{2, Clip::Clipped}, {3, Clip::Visible}, {-1, Clip::Culled}})
    EXPECT_EQ(Clip::clipVertices(around, count, {}), result);
  using Box = std::array<double, 6>;
  for (const auto& [box, seen, seenRight] : {std::tuple{Box{-3, 0, -5, -2}, false, false},
                                             {Box{-3, 0, -5, -1}, true, false},
                                             {Box{0, 0, 0, 0.5}, true, true},
                                             {Box{-3, 1.5, 0, 3, 2}, false, false},
                                             {Box{1, 0, 0, -1}, false, false}}) {
    EXPECT_EQ(bboxClipTest(BoundingBox(box.data()), {}), seen);
    EXPECT_EQ(bboxClipTest(BoundingBox(box.data()), {}, Range2d({0.5, -1}, {1, 1})), seenRight);
  }
}

using Pairs = std::vector<std::pair<double, double>>;
Pairs cornersOf(const ClipPolygon& p) {
  Pairs corners;
  for (int i = 0; i < p.numVertices; ++i) corners.emplace_back(p.vertices[i].c[0], p.vertices[i].c[1]);
  return corners;
}

TEST(ClipTriangle, KeepsWhatLiesInTheBox) {
  const ClipPolygon triangle{3, 15, {{{0, 0, 0, 1}}, {{2, 0, 0, 1}}, {{0, 0.5, 0, 1}}}};
  ClipPolygon p = triangle;
  ASSERT_EQ(clipTriangle(p, {}), Intersecting);
  EXPECT_EQ(cornersOf(p), (Pairs{{0, 0}, {1, 0}, {1, 0.25}, {0, 0.5}}));
  EXPECT_EQ(clipTriangle(p, {}), Contained);
  const ClipBox right{0.25}, left{-1, 0.75}, top{-1, 1, 0.125}, low{-1, 1, -1, 0.1875},
      front{-1, 1, -1, 1, 0.1}, back{-1, 1, -1, 1, -1, -0.1};
  for (const ClipBox& box : {right, left, top, low}) EXPECT_EQ(clipTriangle(p, box), Intersecting);
  EXPECT_EQ(cornersOf(p), (Pairs{{0.25, 0.1875}, {0.25, 0.125}, {0.75, 0.125}, {0.75, 0.1875}}));
  for (const ClipBox& box : {front, back}) EXPECT_EQ(clipTriangle(p = triangle, box), Disjoint);
  for (const int n : {-1, 11}) EXPECT_EQ(clipTriangle(p = {n, 15, {}}, {}), Disjoint);
}

TEST(TriangleAlgorithm, ShowsTheVisiblePartOfEveryTriangle) {
  struct Seen {
    Clip::TriangleAlgorithm alg;
    std::vector<double> share = std::vector<double>(50);  // in texture coordinates
    int calls = 0, fronts = 0, most = INT_MAX;
  };
  const auto see = [](void* user, const HPoint& a, const HPoint& b, const HPoint& c) {
    Seen& seen = *static_cast<Seen*>(user);
    MeshUV p, q, r;
    seen.alg.getUVs(p, q, r);
    for (int k = 0; k < 18; ++k) EXPECT_GT(inside(k < 6 ? a : k < 12 ? b : c, k % 6), -1e-6L);
    seen.share[seen.alg.getTriangleNum()] += (q.u - p.u) * (r.v - p.v) - (q.v - p.v) * (r.u - p.u);
    seen.fronts += seen.alg.isFrontFacing();
    return ++seen.calls < seen.most;
  };
  for (unsigned seed = 0; seed < 64; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const bool selected = seed & 2, front = seed & 4, back = seed & 8, clockwise = seed & 16;
    CompactMesh mesh = randomMesh(150, 50, random);
    mesh.allocUVArray();
    mesh.getSelectedTriangles().resize(50);
    const ProjMatrixFlt m = randomView(random, seed & 1);
    const auto v = project(mesh, m);
    Seen seen;
    std::vector<double> expected;
    for (int t = 0; t < 50; ++t) {
      if (t % 3) mesh.getSelectedTriangles().setBit(t);
      mesh.getTriangles()[t] = {{3 * t, 3 * t + 1, 3 * t + 2}};
      mesh.getUVs()[3 * t + 1].u = mesh.getUVs()[3 * t + 2].v = 1;
      const HPoint p[] = {v[3 * t], v[3 * t + 1], v[3 * t + 2]};
      const double turn =
          (p[1][0] - p[0][0]) * (p[2][1] - p[0][1]) - (p[1][1] - p[0][1]) * (p[2][0] - p[0][0]);
      const bool hidden = ((turn > 0) != clockwise ? front : back) || (selected && t % 3 == 0);
      expected.push_back(hidden ? 0 : visibleShare(p));
    }
    seen.alg.setSelectedTrianglesOnly(selected);
    seen.alg.setCullFaces(front, back);
    seen.alg.setClockwiseFront(clockwise);
    seen.alg.setTriangleFunc(see, &seen);
    EXPECT_EQ(seen.alg.evaluateMesh(mesh, m), *std::max_element(expected.begin(), expected.end()) > 0);
    for (int t = 0; t < 50; ++t) ASSERT_NEAR(seen.share[t], expected[t], 1e-5) << t;
    EXPECT_TRUE((!front || seen.fronts == 0) && (!back || seen.fronts == seen.calls));
    if (seen.calls < 2) continue;
    seen.most = std::exchange(seen.calls, 0) / 2;
    EXPECT_TRUE(seen.alg.evaluateMesh(mesh, m));
    EXPECT_EQ(seen.calls, seen.most);
  }
}

TEST(LineAlgorithm, FindsTheSegmentsInView) {
  struct Seen {
    Clip::LineAlgorithm alg;
    std::vector<std::pair<int, double>> found;  // segment, x of the first end
  } seen;
  const auto see = [](void* user, const HPoint& a, const HPoint&) {
    Seen& s = *static_cast<Seen*>(user);
    s.found.emplace_back(s.alg.getLineSegmentNum(), a[0]);
    return false;
  };
  for (unsigned seed = 0; seed < 60; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const CompactMesh mesh = randomMesh(300, 200, random);
    const float* points = mesh.getVerticesRaw();
    const ProjMatrixFlt m = randomView(random, seed % 2);
    const auto v = project(mesh, m);
    decltype(seen.found) expected;
    const auto expectFound = [&](bool any) {
      EXPECT_EQ(any, !expected.empty());
      EXPECT_EQ(std::exchange(seen.found, {}), std::exchange(expected, {}));
    };
    seen.alg.setLineFunc(nullptr, nullptr);
    for (int i = 0; i + 1 < 300; ++i) {
      if (isVisible(v[i], v[i + 1])) expected.emplace_back(i, v[i][0]);
      ASSERT_EQ(seen.alg.evaluateStrip(points + 3 * i, 2, m), isVisible(v[i], v[i + 1])) << i;
    }
    seen.alg.setLineFunc(see, &seen);
    expectFound(seen.alg.evaluateStrip(points, 300, m));
    for (int i = 0; i < 298; i += 2)
      if (isVisible(v[i], v[i + 1])) expected.emplace_back(-1, v[i][0]);
    expectFound(seen.alg.evaluateSegments(points, 299, m));
    for (int t = 0; t < 200; ++t) {
      const MeshTriangle& c = mesh.getTriangles()[t];
      int k = 0;
      while (k < 3 && !isVisible(v[c[k]], v[c[(k + 1) % 3]])) ++k;
      if (k < 3) expected.emplace_back(-1, v[c[k]][0]);
    }
    expectFound(seen.alg.evaluateMesh(mesh, m));
    expectFound(seen.alg.evaluateStrip(points, seed % 2 ? 1 : -1, m));
  }
}

TEST(ScreenPicking, AgreesWithAllTrianglesOneByOne) {
  std::mt19937 random(3);
  std::uniform_real_distribution<float> c(-1, 1);
  CompactMesh mesh = shapes::soup(20000, 6000, random);
  mesh.resizeTriangleArray(12000);  // each twice: the lower number wins, also across threads
  std::copy_n(mesh.getTriangles(), 6000, mesh.getTriangles() + 6000);
  mesh.getVertices()[0] = {kNan, kInf, 0};
  ProjMatrixFlt screen;
  screen.m[0] = screen.m[5] = 100;
  for (int y = -90; y < 90; y += 3) {
    SCOPED_TRACE(y);
    const int x = static_cast<int>(80 * c(random));
    const Line line({x / 100.0, y / 100.0, c(random)}, {0, 0, 1});
    const qvLinear::PointFlt origin(line.origin);
    MeshCoord best;
    double nearest = INFINITY, t, u, v;
    for (int i = 0; i < 12000; ++i) {
      float const* p[3];
      for (int k = 0; k < 3; ++k) p[k] = &mesh.getVertices()[mesh.getTriangles()[i][k]].x;
      if (!intersectRayTriangle(line.direction.data(), origin.data(), p[0], p[1], p[2], t, u, v) ||
          t >= nearest)
        continue;
      nearest = t;
      best = {{{1 - u - v, u, v}, i}};
    }
    forThreadCounts([&] {
      EXPECT_EQ(meshRayIntersectScreen(mesh, screen, x, y, y % 2, line), best);
      EXPECT_EQ(meshRayIntersectScreen(mesh, {}, line), best);
    });
  }
}

TEST(ScreenPicking, PassesOverWhatIsBesideTheWindow) {
  const Line line({0.25, 0.25, -1}, {0, 0, -1});  // hits behind its origin
  CompactMesh mesh = shapes::make(shapes::Points{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 1, 2}});
  for (const auto& [x, y, half, w, picked] : {std::tuple{0, 0, 0, 1.0f, true},
                                              {2, 0, 1, 1.0f, true},
                                              {3, 0, 1, 1.0f, false},
                                              {-2, 0, 1, 1.0f, false},
                                              {0, -2, 1, 1.0f, false},
                                              {0, 3, 1, 1.0f, false},
                                              {3, 0, 1, 0.5f, true},
                                              {INT_MAX, 0, INT_MAX, 1.0f, true},
                                              {INT_MIN, 0, INT_MAX, 1.0f, false},
                                              {0, 0, -2, 1.0f, false},
                                              {0, 0, INT_MIN, 1.0f, false},
                                              {9, 9, 1, 0.0f, true}}) {
    ProjMatrixFlt m;
    m.m[15] = w;
    EXPECT_EQ(meshRayIntersectScreen(mesh, m, x, y, half, line).triangle, picked ? 0 : -1) << x << y << half;
  }
  EXPECT_EQ(meshRayIntersectScreen(CompactMesh(), {}, 0, 0, 1, line), MeshCoord());
}

}  // namespace
}  // namespace qvGeom
