#include "geom/topology/line_topology.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "tests/support/shapes.h"

namespace qvGeom {
namespace {

using MeshLineTopology::Edge;
using MeshLineTopology::EdgeIterator;
using MeshLineTopology::TopologyAlg;
using shapes::Points;

using Curves = std::vector<Points>;

// Closed curves, sampled at the spacing. The lengths of the strips count the first point twice.
CompactMesh sampled(const Curves& corners, double spacing, double scale = 1) {
  Points points;
  std::vector<int> strip, lengths;
  for (const Points& curve : corners) {
    const int first = static_cast<int>(points.size());
    for (std::size_t i = 0; i < curve.size(); ++i) {
      const auto &p = curve[i], &q = curve[(i + 1) % curve.size()];
      const double l = std::hypot(q[0] - p[0], q[1] - p[1], q[2] - p[2]);
      const int n = std::max(1, static_cast<int>(std::lround(l / spacing)));
      for (int s = 0; s < n; ++s) {
        const float t = static_cast<float>(s) / static_cast<float>(n), f = static_cast<float>(scale);
        points.push_back(
            {f * (p[0] + t * (q[0] - p[0])), f * (p[1] + t * (q[1] - p[1])), f * (p[2] + t * (q[2] - p[2]))});
      }
    }
    lengths.push_back(static_cast<int>(points.size()) - first + 1);
    for (int i = first; i < static_cast<int>(points.size()); ++i) strip.push_back(i);
    strip.push_back(first);
  }
  CompactMesh mesh = shapes::make(points, {});
  mesh.resizeLineStripArrays(static_cast<int>(lengths.size()), static_cast<int>(strip.size()));
  std::copy(lengths.begin(), lengths.end(), mesh.getLineStripLengths());
  std::copy(strip.begin(), strip.end(), mesh.getLineStripPoints());
  return mesh;
}

Points box(float x, float y, float w, float h, bool reversed = false) {
  Points p{{x, y, 0}, {x + w, y, 0}, {x + w, y + h, 0}, {x, y + h, 0}};
  if (reversed) std::reverse(p.begin() + 1, p.end());
  return p;
}

Points ring(int n, double noise, unsigned seed, double turn) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> aside(-noise, noise);
  Points points;
  for (int i = 0; i < n; ++i) {
    const double a = turn * 2 * M_PI * (i + aside(random)) / n, r = 1 + aside(random);
    points.push_back({static_cast<float>(r * std::cos(a)), static_cast<float>(r * std::sin(a)),
                      static_cast<float>(aside(random))});
  }
  return points;
}

// "curve(place place) curve(place place)" for each edge and its twin, the lower first; ~ if circular, ! if
// twins run the same way. Places are told in steps of a quarter.
std::string told(const TopologyAlg& topology, double scale) {
  std::string all;
  for (EdgeIterator it(topology); it.valid(); it.next()) {
    const Edge edge = it.get(), twin = edge.getTwin();
    EXPECT_TRUE(twin.getTwin() == edge && edge.isLinear() != edge.isCircular());
    EXPECT_TRUE(twin.isCircular() == edge.isCircular() && twin.isTwinReversed() == edge.isTwinReversed());
    if (twin.index() < edge.index()) continue;
    all += edge.isCircular() ? "~" : edge.isTwinReversed() ? "!" : "";
    for (const Edge& e : {edge, twin}) {
      all += std::to_string(e.getCurve()) + "(";
      for (const auto& v : {e.getFirstVertex(), e.getSecondVertex()})
        for (int k = 0; k < 2 && !e.isCircular(); ++k)
          all += std::to_string(std::lround(4 * static_cast<double>(v.getPosition()[k]) / scale)) +
                 (k ? " " : ",");
      all += ")";
    }
    all += " ";
  }
  return all;
}

TEST(LineTopology, FindsStretchesFromCornerToCorner) {
  constexpr float g = 0.05f;
  const Points hand = ring(40, 0, 1, 1), other = ring(31, 0.02, 2, -1);
  struct Case {
    const char* name;
    Curves curves;
    std::vector<int> pieces;
    std::string edges, reversed;  // numbers of curves
  };
  for (const double scale : {1.0, 1e-30, 1e30})
    for (const Case& c :
         {Case{"side by side", {box(0, 0, 1, 1), box(1 + g, 0, 1, 1)}, {}, "0(4,0 4,4 )1(4,4 4,0 ) ", ""},
          Case{"too far", {box(0, 0, 1, 1), box(1.2f, 0, 1, 1)}, {}, "", ""},
          Case{"one reversed",
               {box(0, 0, 1, 1), box(1 + g, 0, 1, 1, true)},
               {},
               "0(4,0 4,4 )1(4,0 4,4 ) ",
               "1"},
          Case{"partly", {box(0, 0, 1, 2), box(1 + g, 0.5f, 1, 1)}, {}, "0(4,2 4,6 )1(4,6 4,2 ) ", ""},
          Case{"three around a place",
               {box(0, 0, 2, 1), box(0, 1 + g, 1, 1), box(1 + g, 1 + g, 1, 1)},
               {},
               "0(8,4 4,4 )2(4,4 8,4 ) 0(4,4 0,4 )1(0,4 4,4 ) 1(4,4 4,8 )2(4,8 4,4 ) ",
               ""},
          Case{"four around a place",
               {box(0, 0, 1, 1), box(1 + g, 0, 1, 1), box(0, 1 + g, 1, 1), box(1 + g, 1 + g, 1, 1)},
               {},
               "0(4,0 4,4 )1(4,4 4,0 ) 0(4,4 0,4 )2(0,4 4,4 ) 1(8,4 4,4 )3(4,4 8,4 ) 2(4,4 4,8 )3(4,8 4,4 ) ",
               ""},
          Case{"a pair apart in the middle",
               {{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0.5f, 1.5f, 0}, {1, 2, 0}, {1, 3, 0}, {0, 3, 0}},
                box(1 + g, 0, 1, 3)},
               {},
               "0(4,0 4,4 )1(4,4 4,0 ) 0(4,8 4,12 )1(4,12 4,8 ) ",
               ""},
          Case{"a curve there and back",
               {box(0, 0, 4, 1), {{1, -g, 0}, {3, -g, 0}}},
               {},
               "0(4,0 12,0 )1(12,0 4,0 ) ",
               ""},
          Case{"rings", {hand, other}, {}, "~0()1() ", ""},
          Case{"a chain of three",
               {box(0, 0, 1, 1), box(1 + g, 0, 1, 1, true), box(2 + 2 * g, 0, 1, 1)},
               {},
               "0(4,0 4,4 )1(4,0 4,4 ) 1(8,4 8,0 )2(8,4 8,0 ) ",
               "1"},
          Case{"two curves of a piece",
               {box(0, 0, 1, 1), box(1 + g, 0, 1, 1, true), box(4, 0, 1, 1), box(5 + g, 0, 1, 1)},
               {7, 3, 3, 5},
               "0(4,0 4,4 )1(4,0 4,4 ) 2(20,0 20,4 )3(20,4 20,0 ) ",
               "123"},
          Case{"as much either way",
               {box(0, 0, 1, 1), box(1 + g, 0, 1, 1, true), box(4, 0, 1, 1), box(5 + g, 0, 1, 1)},
               {7, 3, 7, 3},
               "!0(4,0 4,4 )1(4,0 4,4 ) 2(20,0 20,4 )3(20,4 20,0 ) ",
               ""},
          Case{"no way to agree",
               {box(0, 0, 1, 1), box(1 + g, 0, 1, 1, true)},
               {3, 3},
               "!0(4,0 4,4 )1(4,0 4,4 ) ",
               ""}}) {
      SCOPED_TRACE(std::string(c.name) + ", scale " + std::to_string(std::log10(scale)));
      const CompactMesh mesh = sampled(c.curves, 0.02, scale);
      TopologyAlg topology(mesh);
      topology.setPieces(c.pieces);
      ASSERT_TRUE(topology.compute(0.1 * scale));
      EXPECT_EQ(told(topology, scale), c.edges);
      std::string reversed;
      for (int i = 0; i < mesh.getNumLineStrips(); ++i)
        if (topology.getOrientation().test(i)) reversed += std::to_string(i);
      EXPECT_EQ(reversed, c.reversed);
    }
}

// Long curves in a plane, some way apart, both wandering; a few points lead astray.
TEST(LineTopology, HoldsOnAlongWanderingRims) {
  for (unsigned seed = 0; seed < 60; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> unit(-1, 1);
    const int n = 100 + static_cast<int>(random() % 2000), m = 100 + static_cast<int>(random() % 2000);
    const auto rim = [&](int count, double turn) {
      const Points smooth = ring(count, 0, 1, turn);
      Points p = smooth;
      const double phase = 3 * unit(random), waves = 2 + static_cast<double>(random() % 9);
      for (int i = 0; i < count; ++i) {
        const double a = 2 * M_PI * i / count;
        const double r = 5 * (1 + 0.003 * std::sin(turn * waves * a + phase)) + 0.004 * unit(random);
        for (const int k : {0, 1}) p[i][k] = static_cast<float>(r) * smooth[i][k];
        p[i][2] = static_cast<float>(0.02 * std::cos(3 * a + phase));
      }
      return p;
    };
    const Curves curves{rim(n, 1), rim(m, seed % 2 ? 1 : -1), {{20, 0, 0}, {21, 0, 0}, {21, 1, 0}}};
    const CompactMesh mesh = sampled(curves, 0.02);
    TopologyAlg topology(mesh);
    ASSERT_TRUE(topology.compute(0.1));
    EXPECT_EQ(told(topology, 1), "~0()1() ");
    EXPECT_EQ(topology.getOrientation().test(1), seed % 2 == 1);
  }
}

// Any curves: no place is in two stretches, and what an edge says holds for its twin.
TEST(LineTopology, TakesEveryPlaceOnce) {
  for (unsigned seed = 0; seed < 200; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> unit(0, 1);
    const float size = 0.2f + 2 * unit(random);
    Curves curves(2 + random() % 5);
    for (Points& curve : curves) {
      curve.resize(1 + random() % 9);
      for (auto& p : curve)
        p = {size * unit(random), size * unit(random), random() % 2 ? 0 : 0.1f * unit(random)};
    }
    const CompactMesh mesh = sampled(curves, seed % 3 ? 0.02 : 0.003);
    TopologyAlg topology(mesh);
    ASSERT_TRUE(topology.compute(0.1));
    std::vector<int> curveOf, times(static_cast<std::size_t>(mesh.getNumVertices()));
    for (int c = 0; c < mesh.getNumLineStrips(); ++c)
      for (int i = 1; i < mesh.getLineStripLengths()[c]; ++i) curveOf.push_back(c);
    told(topology, 1);
    for (EdgeIterator it(topology); it.valid(); it.next()) {
      const Edge e = it.get();
      const int first = mesh.getLineStripStarts()[e.getCurve()] - e.getCurve();
      const int n = mesh.getLineStripLengths()[e.getCurve()] - 1;
      int p = e.getFirstPoint();
      do {  // its last point may be the first of another
        EXPECT_EQ(curveOf[p], e.getCurve());
        ++times[p];
        p = first + (p - first + 1) % n;
      } while (p != e.getSecondPoint());
    }
    for (const int t : times) EXPECT_LE(t, 1);
  }
}

TEST(LineTopology, RefusesWhatCannotBe) {
  const auto compute = [](double distance, float x, int point) {
    CompactMesh mesh = sampled({box(0, 0, 1, 1), box(1.05f, 0, 1, 1)}, 0.02);
    mesh.getVertices()[7].x += x;
    if (point) mesh.getLineStripPoints()[9] = point;
    TopologyAlg topology(mesh);
    EXPECT_TRUE(topology.compute(0.1) || x != 0 || point != 0);
    const bool done = topology.compute(distance);
    EXPECT_TRUE(done || (topology.getNumEdges() == 0 && topology.getOrientation().size() == 0));
    return done;
  };
  const double inf = std::numeric_limits<double>::infinity();
  for (const double distance : {0.0, -1.0, inf, -inf, std::nan("")}) EXPECT_FALSE(compute(distance, 0, 0));
  EXPECT_FALSE(compute(0.1, NAN, 0) || compute(0.1, INFINITY, 0) || compute(0.1, 0, -1) ||
               compute(0.1, 0, 1 << 30));
  for (const double distance : {0.1, 1e-300, 1e300, 5e-324}) EXPECT_TRUE(compute(distance, 0, 0));
  EXPECT_TRUE(compute(1e-300, 3e38f, 0));
  CompactMesh none;
  EXPECT_TRUE(TopologyAlg(none).compute(1));
}

}  // namespace
}  // namespace qvGeom
