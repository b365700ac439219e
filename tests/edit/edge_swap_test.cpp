#include "geom/edit/edge_swap.h"

#include <cmath>
#include <gtest/gtest.h>
#include <random>

#include "tests/support/topo_build.h"
#include "tests/support/topo_checks.h"

namespace qvGeom {
namespace {

using qvLinear::Point;
using test::buildTopo;
using test::topoGrid;
using test::topoTorus;

// Two triangles, (q0, q1, q2) and (q1, q0, q3), and the half-edge between them.
TopoMeshEdge twoTriangles(TopoMesh& mesh, const Point (&q)[4]) {
  TopoMeshVertex v[4];
  for (int i = 0; i < 4; ++i) v[i] = mesh.allocVertex(q[i]);
  const TopoMeshEdge e = mesh.allocTriangle(v[0], v[1], v[2]).firstEdge();
  mesh.setTwins(e, mesh.allocTriangle(v[1], v[0], v[3]).firstEdge());
  return e;
}

using Veto = void (*)(TopoMeshEdge, bool&);

TEST(EdgeSwap, TestsVetoAtTheirBounds) {
  constexpr Veto kAngles = MeshEdgeSwapper::minimizeOppositeAngleSum,
                 kFold = MeshEdgeSwapper::preventFoldover;
  constexpr Veto kBoundary = MeshEdgeSwapper::preserveBoundary, kCrease = MeshEdgeSwapper::preserveFeatures;
  const Point left(-1, 0, 0), right(1, 0, 0), up(0, 1, 0), down(0, -1, 0), o(0, 0, 0);
  struct Case {
    const char* name;
    Point q[4];
    Veto test;
    bool veto;
  };
  for (const Case& c : {Case{"thin", {left, right, {0, 0.2, 0}, {0, -0.2, 0}}, kAngles, false},
                        Case{"square", {o, {1, 1, 0}, up, right}, kAngles, true},
                        Case{"NaN", {{NAN, 0, 0}, right, up, down}, kAngles, true},
                        Case{"flat", {left, right, up, down}, kFold, false},
                        Case{"right angle", {{-0.5, 0, 0.5}, {0.5, 0, 0.5}, up, down}, kFold, false},
                        Case{"sharper", {{-0.5, 0, 0.501}, {0.5, 0, 0.501}, up, down}, kFold, true},
                        Case{"no normal", {o, right, up, down}, kFold, true},
                        Case{"boundary", {left, right, up, down}, kBoundary, true},
                        Case{"nearly flat", {{-1, 0, 0.01}, {1, 0, 0.01}, up, down}, kCrease, false},
                        Case{"crease", {{-1, 0, 0.04}, {1, 0, 0.04}, up, down}, kCrease, true}}) {
    TopoMesh mesh;
    bool veto = false;
    c.test(twoTriangles(mesh, c.q), veto);
    EXPECT_EQ(veto, c.veto) << c.name;
    veto = true;
    c.test(mesh.firstEdge(), veto);
    EXPECT_TRUE(veto) << c.name << ": a veto stays";
  }
}

// The test looks at angles only where shorter ways leave a doubt; this one always does. Among the points are
// rectangles, whose sums tie, and ones so far apart that lengths leave the range.
TEST(EdgeSwap, DecidesAsTheAnglesDo) {
  std::mt19937 random(11);
  std::uniform_real_distribution<double> number(-1, 1);
  TopoMesh mesh;
  const TopoMeshEdge e = twoTriangles(mesh, {{}, {}, {}, {}});
  const TopoMeshVertex q[] = {e.start(), e.end(), e.prev().start(), e.twin().prev().start()};
  const auto sum = [&](int at, int other, int a, int b) {
    const auto angleAt = [&](int k) {
      return qvLinear::angle(q[a].point() - q[k].point(), q[b].point() - q[k].point());
    };
    return angleAt(at) + angleAt(other);
  };
  for (int round = 0; round < 100000; ++round) {
    const double scale = round % 10 == 0 ? 1e20 : 1, bend = round % 3 == 0 ? 0 : number(random);
    const double w = number(random), h = number(random);
    const bool tie = round % 4 == 0;
    const auto noise = [&] { return tie ? 1e-15 * (round % 8) * number(random) : number(random); };
    const Point corners[] = {{w, h, 0}, {-w, -h, 0}, {-w, h, bend}, {w, -h, bend}};
    for (int i = 0; i < 4; ++i)
      q[i].setPoint(
          {scale * (corners[i][0] + noise()), scale * (corners[i][1] + noise()), scale * corners[i][2]});
    bool veto = false;
    MeshEdgeSwapper::minimizeOppositeAngleSum(e, veto);
    ASSERT_EQ(sum(1, 0, 2, 3) >= sum(2, 3, 0, 1), veto) << "round " << round;
  }
}

TEST(EdgeSwap, NeedsATestAndATwin) {
  TopoMesh mesh;
  const TopoMeshEdge e = twoTriangles(mesh, {{-1, 0, 0}, {1, 0, 0}, {0, 0.2, 0}, {0, -0.2, 0}});
  MeshEdgeSwapper swapper;
  EXPECT_EQ(meshSwapEdgesRepeatedly(mesh, swapper), 0);
  qvRTB::SignalBase client;
  qvRTB::Connection connection =
      swapper.getVetoSignal().connect(client, MeshEdgeSwapper::minimizeOppositeAngleSum);
  EXPECT_FALSE(swapper.shouldSwap(e.next()));
  EXPECT_TRUE(swapper.shouldSwap(e));
  connection.setActive(false);
  swapper.getVetoSignal().connect(client, MeshEdgeSwapper::preserveBoundary);
  EXPECT_FALSE(swapper.shouldSwap(e));
  swapper.clearVetoSignal();
  EXPECT_FALSE(swapper.shouldSwap(e));
  swapper.getVetoSignal().connect(client, MeshEdgeSwapper::minimizeOppositeAngleSum);
  const qv::set<TopoMeshEdge> edges{e, e.twin(), e.next()};
  EXPECT_EQ(meshSwapEdgesRepeatedly(mesh, edges, swapper), 1);
  EXPECT_EQ(meshSwapEdgesRepeatedly(mesh, swapper), 0);
}

// Any test is obeyed, also one that never has enough.
TEST(EdgeSwap, EndsForEveryTest) {
  TopoMesh mesh;
  buildTopo(mesh, topoTorus(6, 5));
  struct Eager : MeshEdgeSwapper {
    bool shouldSwap(TopoMeshEdge) override { return true; }
  } eager;
  EXPECT_GT(meshSwapEdgesRepeatedly(mesh, eager), 1000);
  EXPECT_TRUE(mesh.validate());
}

// In the plane, least opposite angles make every inner edge locally Delaunay.
TEST(EdgeSwap, MakesPlanarMeshesDelaunay) {
  for (unsigned seed = 0; seed < 40; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> shift(-0.3, 0.3);
    TopoMesh mesh;
    for (const TopoMeshVertex v : buildTopo(mesh, topoGrid(9, 7)))
      v.setPoint({v.point()[0] + shift(random), v.point()[1] + shift(random), 0});
    MeshEdgeSwapper swapper;
    qvRTB::SignalBase client;
    swapper.getVetoSignal().connect(client, MeshEdgeSwapper::minimizeOppositeAngleSum);
    swapper.getVetoSignal().connect(client, MeshEdgeSwapper::preventFoldover);
    const int faces = mesh.numFaces(), edges = mesh.numEdges();
    EXPECT_GT(meshSwapEdgesRepeatedly(mesh, swapper), 0);
    EXPECT_EQ(meshSwapEdgesOnce(mesh, swapper), 0);
    EXPECT_TRUE(mesh.validate() && mesh.numFaces() == faces && mesh.numEdges() == edges);
    for (TopoMeshEdge e = mesh.firstEdge(); e; e = e.nextInMesh()) {
      if (!e.twin()) continue;
      const Point p[] = {e.start().point(), e.end().point(), e.prev().start().point(),
                         e.twin().prev().start().point()};
      const double sum =
          qvLinear::angle(p[0] - p[2], p[1] - p[2]) + qvLinear::angle(p[0] - p[3], p[1] - p[3]);
      EXPECT_LE(sum, M_PI + 1e-9);
    }
  }
}

}  // namespace
}  // namespace qvGeom
