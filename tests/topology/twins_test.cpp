#include "geom/topology/twins.h"

#include <gtest/gtest.h>
#include <string>

#include "geom/topology/components.h"

#include "tests/support/mesh_checks.h"

namespace qvGeom {
namespace {

struct Built {
  explicit Built(int vertices, const std::vector<std::vector<int>>& polygons) {
    std::vector<TopoMeshVertex> v;
    for (int i = 0; i < vertices; ++i) v.push_back(mesh.allocVertex({double(i), 0, 0}));
    for (const auto& polygon : polygons) {
      std::vector<TopoMeshVertex> corners;
      for (const int i : polygon) corners.push_back(v[static_cast<std::size_t>(i)]);
      faces.push_back(mesh.allocFace(corners));
    }
    meshTwin(mesh);
  }
  int openEdges() const {
    int open = 0;
    for (TopoMeshEdge e = mesh.firstEdge(); e; e = e.nextInMesh()) open += e.twin() ? 0 : 1;
    return open;
  }
  TopoMesh mesh;
  std::vector<TopoMeshFace> faces;
};

TEST(Twins, PairTheOldestAndLeaveTheRestOpen) {
  DebugLog log;
  // Three faces on the edge 0-1: the first two that run against each other are paired.
  Built fan(5, {{0, 1, 2}, {1, 0, 3}, {1, 0, 4}});
  std::string fault;
  EXPECT_TRUE(fan.mesh.validate(&fault)) << fault;
  EXPECT_EQ(fan.faces[0].firstEdge().twin(), fan.faces[1].firstEdge());
  EXPECT_FALSE(fan.faces[2].firstEdge().twin());
  EXPECT_THAT(log.messages.at(0), testing::MatchesRegex("meshTwin: 5 vertices: [0-9.]+ s\n"));

  // Pairing again takes nothing apart, and a later face finds what is still open.
  meshTwin(fan.mesh);
  EXPECT_EQ(fan.faces[0].firstEdge().twin(), fan.faces[1].firstEdge());
  EXPECT_EQ(meshComponents(fan.mesh), 2);
}

TEST(Twins, PairDoubledFacesOneByOne) {
  Built doubled(4, {{0, 1, 2}, {0, 1, 2}, {1, 0, 3}, {1, 0, 3}});
  EXPECT_EQ(doubled.faces[0].firstEdge().twin(), doubled.faces[2].firstEdge());
  EXPECT_EQ(doubled.faces[1].firstEdge().twin(), doubled.faces[3].firstEdge());
}

TEST(Twins, SurviveDegenerateFaces) {
  Built degenerate(3, {{0, 0, 1}, {2, 2, 2}, {0, 1, 2}, {0, 1, 2}});
  std::string fault;
  EXPECT_TRUE(degenerate.mesh.validate(&fault)) << fault;
  EXPECT_FALSE(degenerate.faces[0].firstEdge().twin()) << "an edge from a vertex to itself";
  // Polygons: the first three half-edges take part.
  Built squares(6, {{0, 1, 2, 3}, {1, 0, 4, 5}, {3, 2, 5, 4}});
  EXPECT_TRUE(squares.faces[0].firstEdge().twin());
  EXPECT_FALSE(squares.faces[0].firstEdge().prev().twin());
}

TEST(Twins, CloseASurfaceAndSeparateWhatTouchesAtAVertex) {
  Built tetrahedron(4, {{0, 2, 1}, {0, 1, 3}, {1, 2, 3}, {0, 3, 2}});
  EXPECT_EQ(tetrahedron.openEdges(), 0);
  EXPECT_EQ(meshComponents(tetrahedron.mesh), 1);
  Built bowTie(5, {{0, 1, 2}, {0, 3, 4}});
  EXPECT_EQ(meshComponents(bowTie.mesh), 2);
  TopoMesh empty;
  EXPECT_EQ(meshComponents(empty), 0);
}

}  // namespace
}  // namespace qvGeom
