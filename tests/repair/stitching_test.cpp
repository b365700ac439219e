#include "geom/repair/stitching.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "geom/io/obj_format.h"
#include "geom/repair/manifold.h"
#include "geom/repair/stitch_seam.h"
#include "geom/topology/components.h"
#include "geom/topology/measures.h"

#include "tests/support/mesh_checks.h"
#include "tests/support/surface_checks.h"
#include "tests/support/topo_checks.h"

namespace qvGeom {
namespace {

using shapes::Points;
using shapes::Tris;

bool stitch(CompactMesh& mesh, double distance, double seamTolerance) {
  const Adjacency adjacency(mesh);
  const qv::Reference<MeshAdjTris> tris(new MeshAdjTris);
  const qv::Reference<MeshBoundaries> loops(new MeshBoundaries);
  Adjacency(mesh).tris.swap(*tris);
  Adjacency(mesh).boundaries.swap(*loops);
  return meshStitch(mesh, tris, loops, distance, seamTolerance);
}

double areaOf(const CompactMesh& mesh) {
  double area = 0;
  for (int t = 0; t < mesh.getNumTriangles(); ++t) {
    const MeshTriangle& v = mesh.getTriangles()[t];
    const qvLinear::Point p = mesh.getVertices()[v[0]].asPoint();
    area += length(cross(mesh.getVertices()[v[1]].asPoint() - p, mesh.getVertices()[v[2]].asPoint() - p)) / 2;
  }
  return area;
}

struct Cut {
  CompactMesh mesh;
  double tolerance = 0;
  double seam = 0;  // its length
};

// Cuts a closed mesh in two along edges near a random plane, gives the rims other vertices, moves one half.
Cut cutInTwo(const CompactMesh& whole, unsigned seed, double shift, bool flip) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> unit(0, 1);
  std::normal_distribution<double> normal;
  const auto at = [&](int v) { return whole.getVertices()[v].asPoint(); };
  const auto centroid = [&](int t) {
    const MeshTriangle& v = whole.getTriangles()[t];
    return qvLinear::Point() + ((at(v[0]) - qvLinear::Point()) + (at(v[1]) - qvLinear::Point()) + (at(v[2]) - qvLinear::Point())) * (1.0 / 3);
  };
  const qvLinear::Normal n(qvLinear::Vector(normal(random), normal(random), normal(random)));
  const qvLinear::Point origin = centroid(static_cast<int>(random() % static_cast<unsigned>(whole.getNumTriangles())));
  std::vector<int> side;
  for (int t = 0; t < whole.getNumTriangles(); ++t) side.push_back(dot(centroid(t) - origin, n) > 0);

  Cut cut;
  std::map<std::pair<int, int>, int> sideOfEdge;
  for (int t = 0; t < whole.getNumTriangles(); ++t)
    for (int k = 0; k < 3; ++k) sideOfEdge[{whole.getTriangles()[t][k], whole.getTriangles()[t][(k + 1) % 3]}] = side[t];
  int edges = 0;
  for (const auto& [edge, s] : sideOfEdge)
    if (s == 1 && sideOfEdge[{edge.second, edge.first}] == 0) {
      cut.seam += distance(at(edge.first), at(edge.second));
      ++edges;
    }
  cut.tolerance = 0.5 * cut.seam / std::max(edges, 1);

  const qvLinear::Vector away = qvLinear::Normal(qvLinear::Vector(normal(random), normal(random), normal(random))) * (shift * cut.tolerance);
  Points points;
  std::map<std::pair<int, int>, int> vertices;  // by old number and side
  const auto place = [&](const qvLinear::Point& p, int s) {
    const qvLinear::Point q = s ? p + away : p;
    points.push_back({static_cast<float>(q[0]), static_cast<float>(q[1]), static_cast<float>(q[2])});
    return static_cast<int>(points.size()) - 1;
  };
  const auto vertex = [&](int v, int s) {
    const auto [entry, isNew] = vertices.insert({{v, s}, 0});
    if (isNew) entry->second = place(at(v), s);
    return entry->second;
  };
  Tris tris;
  for (int t = 0; t < whole.getNumTriangles(); ++t) {
    const MeshTriangle& tri = whole.getTriangles()[t];
    std::array<int, 3> v{vertex(tri[0], side[t]), vertex(tri[1], side[t]), vertex(tri[2], side[t])};
    for (int k = 0; k < 3; ++k) {
      const int a = tri[k], b = tri[(k + 1) % 3];
      if (sideOfEdge[{b, a}] == side[t] || unit(random) < 0.6) continue;
      const double s = 0.2 + 0.6 * unit(random);
      const int m = place(at(a) + s * (at(b) - at(a)), side[t]);
      const std::array<int, 3> part{v[k], m, v[(k + 2) % 3]};
      tris.push_back(flip && side[t] ? std::array<int, 3>{part[1], part[0], part[2]} : part);
      v[k] = m;
      break;
    }
    if (flip && side[t]) std::swap(v[0], v[1]);
    tris.push_back(v);
  }
  cut.mesh = shapes::make(points, tris);
  meshMakeManifold(cut.mesh);  // halves that meet themselves in a vertex come apart there
  return cut;
}

std::string faultsOf(CompactMesh& mesh) {
  MeshCharacteristics c(mesh);
  std::string faults;
  const Adjacency adjacency(mesh);
  int open = 0;
  for (int i = 0; i < adjacency.boundaries.size(); ++i) open += adjacency.boundaries.getLength(i);
  if (open) faults += " loops " + std::to_string(adjacency.boundaries.size()) + " edges " + std::to_string(open);
  if (!c.check(MeshCharacteristics::GoodTriangles)) faults += " bad triangles";
  if (!c.check(MeshCharacteristics::Manifold)) faults += " not manifold";
  if (!c.check(MeshCharacteristics::Oriented)) faults += " not oriented";
  return faults;
}

std::string stitchCut(const CompactMesh& whole, unsigned seed) {
  Cut cut = cutInTwo(whole, seed, 0.5, seed % 2 == 1);
  if (cut.seam == 0) return "";
  if (!stitch(cut.mesh, cut.tolerance, 0.1)) return " refused";
  std::string faults = faultsOf(cut.mesh);
  if (std::fabs(areaOf(cut.mesh) - areaOf(whole)) > cut.tolerance * cut.seam)
    faults += " area " + std::to_string(areaOf(cut.mesh)) + " for " + std::to_string(areaOf(whole));
  return faults;
}

TEST(Stitching, ClosesWhatWasCut) {
  for (unsigned seed = 0; seed < 10; ++seed) {
    EXPECT_EQ(stitchCut(shapes::torus(48, 24), seed), "") << "torus, seed " << seed;
  }
  char const* folder = std::getenv("QVGEOM_TEST_MESHES");
  if (!folder) return;
  for (const auto& file : std::filesystem::directory_iterator(folder)) {
    CompactMesh mesh;
    if (file.path().extension() != ".obj" || !meshReadObj(mesh, file.path().c_str()) || mesh.getNumTriangles() == 0 ||
        mesh.getNumTriangles() > 100000 || !faultsOf(mesh).empty())
      continue;
    int good = 0;
    std::string all;
    for (unsigned seed = 0; seed < 10; ++seed) {
      const std::string faults = stitchCut(mesh, seed);
      good += faults.empty();
      if (!faults.empty()) all += "\n    seed " + std::to_string(seed) + ":" + faults;
    }
    printf("%-32s %2d of 10%s\n", file.path().filename().c_str(), good, all.c_str());
    fflush(stdout);
  }
}

}  // namespace
}  // namespace qvGeom
