#include "geom/topology/twins.h"

#include <algorithm>
#include <gtest/gtest.h>

#include "geom/topology/components.h"

#include "tests/support/mesh_checks.h"

namespace qvGeom {
namespace {

struct Built {
  explicit Built(int vertices, const std::vector<Ints>& polygons) {
    std::vector<TopoMeshVertex> v;
    for (int i = 0; i < vertices; ++i) v.push_back(mesh.allocVertex({double(i), 0, 0}));
    for (const Ints& polygon : polygons) {
      std::vector<TopoMeshVertex> corners;
      for (const int i : polygon) corners.push_back(v[static_cast<std::size_t>(i)]);
      faces.push_back(mesh.allocFace(corners));
    }
    meshTwin(mesh);
    EXPECT_TRUE(mesh.validate());
  }
  /// The face across the first edge, -1 where there is none.
  int across(std::size_t face) const {
    const TopoMeshEdge twin = faces[face].firstEdge().twin();
    return twin ? static_cast<int>(std::find(faces.begin(), faces.end(), twin.face()) - faces.begin()) : -1;
  }
  DebugLog log;
  TopoMesh mesh;
  std::vector<TopoMeshFace> faces;
};

TEST(Twins, PairTheOldestAndLeaveTheRestOpen) {
  Built fan(5, {{0, 1, 2}, {1, 0, 3}, {1, 0, 4}});
  EXPECT_THAT(fan.log.messages.at(0), testing::MatchesRegex("meshTwin: 5 vertices: [0-9.]+ s\n"));
  meshTwin(fan.mesh);  // takes nothing apart
  EXPECT_TRUE(fan.across(0) == 1 && fan.across(2) == -1);
  EXPECT_EQ(meshComponents(fan.mesh), 2);
  const Built doubled(4, {{0, 1, 2}, {0, 1, 2}, {1, 0, 3}, {1, 0, 3}});
  EXPECT_TRUE(doubled.across(0) == 2 && doubled.across(1) == 3) << "one by one";
  const Built degenerate(3, {{0, 0, 1}, {2, 2, 2}, {0, 1, 2}, {0, 1, 2}});
  EXPECT_EQ(degenerate.across(0), -1) << "an edge from a vertex to itself";
  const Built squares(6, {{0, 1, 2, 3}, {1, 0, 4, 5}, {3, 2, 5, 4}});
  EXPECT_EQ(squares.across(0), 1);
  EXPECT_FALSE(squares.faces[0].firstEdge().prev().twin()) << "of polygons the first three half-edges";
}

TEST(Twins, CloseASurfaceAndSeparateWhatTouchesAtAVertex) {
  Built tetrahedron(4, {{0, 2, 1}, {0, 1, 3}, {1, 2, 3}, {0, 3, 2}}), bowTie(5, {{0, 1, 2}, {0, 3, 4}});
  for (auto e = tetrahedron.mesh.firstEdge(); e; e = e.nextInMesh()) EXPECT_TRUE(e.twin());
  EXPECT_EQ(meshComponents(tetrahedron.mesh), 1);
  EXPECT_EQ(meshComponents(bowTie.mesh), 2);
}

}  // namespace
}  // namespace qvGeom
