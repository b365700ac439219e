#include "geom/topology/region.h"

#include <algorithm>
#include <array>
#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <random>
#include <vector>

#include "tests/support/mesh_checks.h"
#include "tests/support/shapes.h"

namespace qvGeom {
namespace {

using qvLinear::Point;
using Corner = std::array<float, 3>;
using Face = std::array<Corner, 3>;

Corner cornerOf(const MeshVertex& v) { return {v.x, v.y, v.z}; }
Face faceOf(const CompactMesh& mesh, int t) {
  Face face;
  for (int k = 0; k < 3; ++k) face[k] = cornerOf(mesh.getVertices()[mesh.getTriangles()[t][k]]);
  return face;
}
Corner cornerOf(TopoMeshVertex x) {
  MeshVertex v;
  v.set(x.point().data());
  return cornerOf(v);
}

struct Region {
  explicit Region(CompactMesh& m, const BitVector& triangles) : mesh(m) {
    meshAdjTris(mesh, adjTris);
    BitVector vertices(mesh.getNumVertices());
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
      if (triangles.test(t)) vertices.setBits(3, mesh.getTriangles()[t].v);
    rep.emplace(mesh, triangles, vertices, adjTris);
    mesh.changeSignal().connect(client, [this](EntityModification&) { ++notices; });
  }
  CompactMesh& mesh;
  MeshAdjTris adjTris;
  std::optional<MeshModifyRep> rep;
  qvRTB::SignalBase client;
  int notices = 0;
};

TEST(Region, UneditedComesBackBehindTheRest) {
  shapes::Points points;
  for (int i = 0; i < 9; ++i) points.push_back({static_cast<float>(i / 3), static_cast<float>(i % 3), 0});
  shapes::Tris tris;
  for (const int a : {0, 1, 3, 4}) {
    tris.push_back({a, a + 3, a + 4});
    tris.push_back({a, a + 4, a + 1});
  }
  CompactMesh mesh = shapes::make(points, tris);
  mesh.getSelectedVertices().resize(9);
  mesh.getSelectedVertices().setBit(2);  // an older selection plays no part
  BitVector around(8);
  for (int t = 0; t < 8; ++t)
    if (std::find(tris[t].begin(), tris[t].end(), 4) != tris[t].end()) around.setBit(t);
  ASSERT_EQ(around.numSetBits, 6);
  Region region(mesh, around);
  region.rep->extract();
  EXPECT_FALSE(region.rep->getTopoMeshVertex(42));
  Array<int> map;
  ArrayMap<TopoMeshVertex, int> ofRegion(-1);
  region.rep->merge(map, &ofRegion);
  EXPECT_EQ(std::vector<int>(map.begin(), map.begin() + 9), (std::vector<int>{6, 0, 1, 2, 7, 3, 4, 5, 8}));
  EXPECT_EQ(indicesOf(mesh),
            (std::vector<int>{0, 3, 1, 2, 4, 5, 6, 2, 7, 6, 7, 0, 0, 7, 3, 2, 5, 7, 7, 5, 8, 7, 8, 3}));
  EXPECT_TRUE(region.notices == 1 && mesh.getSelectedVertices().size() == 0);
  for (const auto& [x, index] : ofRegion) EXPECT_EQ(cornerOf(x), cornerOf(mesh.getVertices()[index]));
  region.rep->merge(map, &ofRegion);
  EXPECT_TRUE(map.empty() && ofRegion.begin() == ofRegion.end() && region.notices == 1) << "once only";

  // The whole mesh keeps all its numbers; no triangle, and nothing happens.
  const std::vector<int> before = indicesOf(mesh);
  BitVector all(9), none(9);
  all.setAllBits();
  none.setBit(8);  // of a triangle that the mesh had once
  Region whole(mesh, all);
  whole.rep->extract();
  whole.rep->merge(map, nullptr);
  EXPECT_TRUE(indicesOf(mesh) == before && map[8] == 8 && whole.notices == 1);
  BitVector vertices(9);
  vertices.setAllBits();
  MeshModifyRep empty(mesh, none, vertices, whole.adjTris);
  empty.extract();
  empty.merge(map, nullptr);
  EXPECT_TRUE(mesh.getNumVertices() == 9 && map.size() == 9 && map[4] == 4 && whole.notices == 1);
}

// Random edits of a region; those that make other faces than triangles are left out.
void edit(TopoMesh& topo, MeshModifyRep& rep, std::mt19937& random) {
  std::vector<TopoMeshEdge> edges;
  for (TopoMeshEdge e = topo.firstEdge(); e; e = e.nextInMesh()) edges.push_back(e);
  if (edges.empty()) return;
  const TopoMeshEdge e = edges[random() % edges.size()];
  const auto near = [&](const Point& p) {
    return p + 0.01 * qvLinear::Vector(double(random() % 9), double(random() % 9), 1);
  };
  switch (random() % 5) {
    case 0:
      topo.swapEdge(e);
      break;
    case 1:
      topo.subdivideFace(e.face(), near(e.face().centroid()));
      break;
    case 2:
      e.start().setPoint(near(e.start().point()));
      break;
    case 3:
      if (topo.canDeleteVertex(e.start())) {
        rep.removeVertex(e.start());
        topo.deleteVertex(e.start());
      }
      break;
    default: {
      const TopoMeshVertex gone = e.end();
      if (!topo.contractEdge(e, e.start())) break;
      rep.removeVertex(gone);
    }
  }
}

TEST(Region, MergesWhatItWasEditedTo) {
  int removed = 0;
  for (unsigned seed = 0; seed < 10000; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    CompactMesh mesh = seed % 3 == 0   ? shapes::grid(5, 4)
                       : seed % 3 == 1 ? shapes::torus(6, 4)
                                       : shapes::soup(15, 30, random);
    const CompactMesh old = mesh;
    BitVector triangles(mesh.getNumTriangles());
    const auto share = random() % 4;
    for (int t = 0; t < mesh.getNumTriangles(); ++t)
      if (share == 3 || random() % 4 < share) triangles.setBit(t);
    Region region(mesh, triangles);
    TopoMesh& topo = region.rep->extract();
    for (auto i = random() % 20; i > 0; --i) edit(topo, *region.rep, random);

    std::vector<Face> expected;
    for (int t = 0; t < old.getNumTriangles(); ++t)
      if (!triangles.test(t)) expected.push_back(faceOf(old, t));
    // Border vertices carry outside triangles along.
    std::map<Corner, Corner> moved;
    for (int v = 0; v < old.getNumVertices(); ++v)
      if (const TopoMeshVertex x = region.rep->getTopoMeshVertex(v))
        moved[cornerOf(old.getVertices()[v])] = cornerOf(x);
    for (Face& face : expected)
      for (Corner& c : face)
        if (moved.count(c)) c = moved[c];
    for (TopoMeshFace f = topo.firstFace(); f; f = f.nextInMesh()) {
      const TopoMeshEdge e = f.firstEdge();
      expected.push_back({cornerOf(e.start()), cornerOf(e.end()), cornerOf(e.next().end())});
    }
    std::vector<TopoMeshVertex> kept(static_cast<std::size_t>(old.getNumVertices()));
    for (int v = 0; v < old.getNumVertices(); ++v)
      kept[static_cast<std::size_t>(v)] = region.rep->getTopoMeshVertex(v);

    Array<int> map;
    region.rep->merge(map, nullptr);
    expectSound(mesh);
    ASSERT_EQ(region.notices, triangles.numSetBits > 0 ? 1 : 0);
    std::vector<Face> found;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) found.push_back(faceOf(mesh, t));
    ASSERT_EQ(found, expected) << "in order";
    std::vector<int> images;
    for (int v = 0; v < old.getNumVertices(); ++v) {
      if (map[v] >= 0) images.push_back(map[v]);
      removed += map[v] < 0;
      const bool inRegion = region.adjTris.numTris(v) > 0 && !kept[static_cast<std::size_t>(v)];
      if (map[v] < 0) continue;
      ASSERT_LT(map[v], mesh.getNumVertices());
      const Corner corner = cornerOf(mesh.getVertices()[map[v]]);
      ASSERT_EQ(corner, inRegion || !kept[static_cast<std::size_t>(v)]
                            ? cornerOf(old.getVertices()[v])
                            : cornerOf(kept[static_cast<std::size_t>(v)]));
    }
    std::sort(images.begin(), images.end());
    ASSERT_EQ(std::adjacent_find(images.begin(), images.end()), images.end()) << "no two become one";
  }
  EXPECT_GT(removed, 1000);
}

}  // namespace
}  // namespace qvGeom
