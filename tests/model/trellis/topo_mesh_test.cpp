#include "geom/model/trellis/topo_mesh.h"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/topo_build.h"
#include "tests/support/topo_checks.h"

namespace qvGeom {
namespace {

using qvLinear::Point;
using namespace test;

using Points = std::vector<Point>;

// Vertex 0 with two fans: a pair of triangles joined by the edge to 2, and a triangle on its own.
struct BowTie {
  TopoMesh mesh;
  std::vector<TopoMeshVertex> v = buildTopo(mesh, {Points(6), {{0, 4, 5}, {0, 1, 2}, {0, 2, 3}}});
  TopoMeshFace c = mesh.firstFace(), a = c.nextInMesh(), b = a.nextInMesh();
};

TEST(TopoMesh, SearchKnowsAllFansAndIterationOne) {
  BowTie t;
  EXPECT_TRUE(t.v[0].firstEdge() == t.c.firstEdge() && t.v[0].valence() == 1);
  EXPECT_FALSE(t.mesh.deleteVertex(t.v[5]));  // the fan of the first edge goes
  EXPECT_EQ(t.v[0].firstEdge(), t.a.firstEdge()) << "the oldest that is left";
  t.mesh.allocTriangle(t.v[0], t.v[4], t.mesh.allocVertex({}));
  t.mesh.allocTriangle(t.v[0], t.v[2], t.v[4]);
  EXPECT_EQ(t.mesh.findEdge(t.v[0], t.v[2]), t.b.firstEdge()) << "the oldest";
  EXPECT_FALSE(t.mesh.findEdge(t.v[3], t.v[2]));
  t.mesh.allocTriangle(t.v[1], t.v[3], t.v[4]);
  EXPECT_FALSE(t.mesh.swapEdge(t.b.firstEdge())) << "joined by a half-edge 1 -> 3 of another fan";
  EXPECT_FALSE(t.mesh.swapEdge(t.b.firstEdge().twin())) << "seen from the other end";
  EXPECT_FALSE(t.mesh.canDeleteVertex(t.v[4]) || t.mesh.deleteVertex(t.v[4])) << "an ear, but of two fans";
  EXPECT_TRUE(t.v[4].isAlive() && isValid(t.mesh));
}

TEST(TopoMesh, SwapTurnsTheDiagonalAndBack) {
  TopoMesh mesh;
  const auto v = buildTopo(mesh, topoGrid(1, 1));  // q0 = 3, q1 = 0, q2 = 1, q3 = 2
  const TopoMeshEdge e = mesh.findEdge(v[3], v[0]), t = e.twin();
  const TopoMeshEdge q1q2 = mesh.findEdge(v[0], v[1]), q3q1 = mesh.findEdge(v[2], v[0]);
  const TopoMeshFace ofE = e.face(), ofT = t.face();
  ASSERT_TRUE(mesh.swapEdge(e));
  EXPECT_TRUE(e.start() == v[1] && e.end() == v[2] && e.twin() == t && e.face() == ofE && t.face() == ofT);
  EXPECT_TRUE(e.next() == q3q1 && e.prev() == q1q2 && q1q2.face() == ofE && q3q1.face() == ofE);
  EXPECT_TRUE(isValid(mesh));
  ASSERT_TRUE(mesh.swapEdge(e));
  EXPECT_TRUE(e.start() == v[0] && e.end() == v[3]) << "ends exchanged";
  EXPECT_TRUE(cornersOf(ofE) == (Numbers{1, 4, 3}) && cornersOf(ofT) == (Numbers{1, 2, 4}));
}

TEST(TopoMesh, IterationOutlivesSwapsOfWhatItHasLeft) {
  TopoMesh mesh;
  const TopoMeshVertex v = buildTopo(mesh, topoTorus(5, 5))[12];
  std::set<TopoMeshVertex> ends;
  int steps = 0;
  for (TopoMeshEdgeVertexIterator it(v); it.valid() && steps < 9; ++steps) {
    const TopoMeshEdge e = it.get();
    ends.insert(e.end());
    it.next();
    ASSERT_TRUE(steps >= 3 || mesh.swapEdge(e));
  }
  EXPECT_TRUE(steps == 6 && ends.size() == 6 && v.valence() == 3);
}

TEST(TopoMesh, DeletingAVertexOfThreeTrianglesUndoesSubdivision) {
  TopoMesh mesh;
  buildTopo(mesh, topoIcosahedron());
  const TopoMeshFace f = mesh.firstFace();
  const TopoMeshEdge e = f.firstEdge(), twin = e.twin(), second = e.next();
  const Numbers before = cornersOf(f);
  const TopoMeshVertex m = mesh.subdivideFace(f, f.centroid());
  EXPECT_TRUE(m.valence() == 3 && e.face() == f && second.face() != f && e.twin() == twin);
  EXPECT_EQ(mesh.deleteVertex(m), f) << "the oldest of the three";
  EXPECT_TRUE(cornersOf(f) == before && f.firstEdge() == e && e.next() == second && e.twin() == twin);
}

TEST(TopoMesh, CutsOfLargeFacesAndEdges) {
  TopoMesh mesh;
  const auto v = buildTopo(mesh, {Points(6), {{0, 1, 2, 3, 4, 5}}});
  const TopoMeshFace f = mesh.firstFace();
  const TopoMeshEdge e0 = f.firstEdge(), e2 = e0.next().next(), e5 = e0.prev();
  EXPECT_FALSE(mesh.subdivideFace(f, {}) || mesh.subdivideFace(e0, e0) || mesh.subdivideFace(e0, e5));
  const TopoMeshEdge d = mesh.subdivideFace(e2, e0);  // keeps 2 3 4 5 0, although 0->1 was the first edge
  EXPECT_TRUE(d.start() == v[0] && d.end() == v[2] && d.face() == f && f.firstEdge() == e2);
  EXPECT_EQ(cornersOf(f), (Numbers{1, 3, 4, 5, 6}));
  const TopoMeshEdge t = d.twin();
  const TopoMeshVertex m = mesh.subdivideEdge(d, {7, 7, 7});
  EXPECT_TRUE(d.end() == m && t.end() == m && d.next().twin() == t && t.next().twin() == d);

  // Both sides of an edge in one face, one right behind the other.
  const TopoMeshEdge a = mesh.allocFace({v[0], v[1], v[2], v[1]}).firstEdge().next();
  ASSERT_TRUE(mesh.setTwins(a, a.next()));
  const TopoMeshVertex middle = mesh.subdivideEdge(a, {});
  EXPECT_TRUE(a.end() == middle && a.face().numVertices() == 6 && a.next().end() == v[2] &&
              a.next().twin() == a.next().next());
  EXPECT_FALSE(mesh.subdivideFace(a, a.next().next().next().next())) << "a diagonal from 1 to 1";
  EXPECT_EQ(mesh.allocFace({10000, v[0]}).numVertices(), 10000) << "more than a block of records holds";
  EXPECT_TRUE(isValid(mesh));
}

TEST(TopoMesh, BoundaryWalksStayInTheirFan) {
  BowTie t;
  TopoMeshEdge prev, next;
  TopoMeshBoundaryIterator walk(t.mesh.findEdge(t.v[0], t.v[1])), atVertex(t.v[0]);
  for (const std::size_t start : {0, 1, 2, 3, 0}) {
    walk.getPrevNextEdges(prev, next);
    EXPECT_TRUE(walk.get().start() == t.v[start] && next == walk.get());
    EXPECT_TRUE(prev.end() == t.v[start] && !prev.twin());
    walk.nextEdge();
  }
  atVertex.getPrevNextEdges(prev, next);
  EXPECT_TRUE(next == t.c.firstEdge() && prev == next.prev());
  t.mesh.deleteVertex(t.v[4]);
  EXPECT_FALSE(atVertex.nextEdge() || atVertex.valid()) << "stood on a deleted half-edge";
  EXPECT_FALSE(TopoMeshBoundaryIterator(t.b.firstEdge()).valid()) << "an inner one";
  EXPECT_FALSE(TopoMeshBoundaryIterator(t.v[5]).valid()) << "no faces";
}

TEST(TopoMesh, ContractionRefusesWhatWouldFoldTheMesh) {
  struct Case {
    const char* name;
    std::vector<std::vector<int>> faces;  // the edge is 0 -> 1
    bool done;
  };
  for (const Case& c :
       {Case{"one triangle", {{0, 1, 2}}, false},
        Case{"square, of which one side goes", {{0, 1, 2, 3}}, true},
        Case{"square between triangles", {{0, 1, 2, 3}, {1, 0, 4}, {0, 3, 4}, {1, 4, 2}}, true},
        Case{"two triangles back to back", {{0, 1, 2}, {1, 0, 2}}, false},
        Case{"a shared neighbour beside the triangle", {{0, 1, 2}, {2, 1, 3}, {3, 1, 4}, {0, 4, 5}}, false},
        Case{"both ends in a face across", {{0, 1, 2}, {1, 0, 3}, {0, 2, 1, 3}}, false},
        Case{"a third face on the edge", {{0, 1, 2}, {1, 0, 3}, {0, 1, 4}, {2, 1, 5}, {0, 2, 6}}, false},
        Case{"an end repeated in the square", {{0, 1, 2, 0}, {2, 1, 3}}, false},
        Case{"a loop in the triangle", {{0, 1, 1}, {1, 0, 2}}, false},
        Case{"two fans at the kept end", {{0, 1, 2}, {2, 1, 3}, {0, 4, 5}}, true},
        Case{"two fans at the removed end", {{0, 1, 2}, {2, 1, 3}, {1, 4, 5}}, false}}) {
    SCOPED_TRACE(c.name);
    TopoMesh mesh;
    const auto v = buildTopo(mesh, {Points(7), c.faces});
    v[0].setPoint({1, 2, 3});
    const std::uint64_t print = fingerprint(mesh);
    EXPECT_EQ(mesh.contractEdge(mesh.findEdge(v[0], v[1]), v[0]), c.done);
    EXPECT_EQ(fingerprint(mesh) == print, !c.done);
    EXPECT_TRUE(isValid(mesh) && v[0].isAlive() && v[0].point() == Point(1, 2, 3));
  }
}

TEST(TopoMesh, MergingZipsTwoStripsAndReHangsEveryFan) {
  TopoMesh mesh;
  const auto v = buildTopo(mesh, topoGrid(3, 1)), w = buildTopo(mesh, topoGrid(3, 1));
  const TopoMeshVertex tip = mesh.allocVertex({}), tail = mesh.allocVertex({});
  const TopoMeshFace bow = mesh.allocTriangle(w[1], tip, tail);  // another fan at a vertex that goes
  mesh.allocTriangle(v[5], tip, mesh.allocVertex({}));
  const TopoMeshEdge a0 = mesh.findEdge(v[5], v[4]);
  EXPECT_FALSE(mesh.mergeVertices(a0, mesh.findEdge(v[4], v[0]))) << "5 and 0 are neighbours";
  EXPECT_FALSE(mesh.mergeVertices(bow.firstEdge(), mesh.findEdge(w[1], w[2]))) << "would become a loop";
  for (std::size_t i = 0; i < 3; ++i) {
    const TopoMeshEdge a = mesh.findEdge(v[5 + i], v[4 + i]);
    const TopoMeshEdge ofW = mesh.findEdge(i == 0 ? w[0] : v[4 + i], w[i + 1]);
    ASSERT_TRUE(mesh.mergeVertices(a, ofW)) << i;
    EXPECT_TRUE(a.twin() == ofW && !w[i + 1].isAlive() && v[5 + i].isAlive() && isValid(mesh));
  }
  EXPECT_EQ(mesh.findEdge(v[5], tip), bow.firstEdge()) << "came later to 5 but is older";
  EXPECT_TRUE(v[5].valence() == 6 && !v[5].onBoundary()) << "closed by the seam";
}

template <typename Handle>
auto* recordOf(Handle handle) {
  struct Opened : Handle {
    auto* get() const { return this->record_; }
  };
  return Opened{handle}.get();
}

TEST(TopoMesh, ValidationFindsPlantedFaults) {
  struct Records {
    topo::Vertex* v;
    topo::Edge* e;
    topo::Face* f;
  };
  const std::pair<const char*, std::function<void(Records)>> plants[] = {
      {"not in order", [](Records r) { r.e->number = 99; }},
      {"a deleted element", [](Records r) { r.v->alive = false; }},
      {"fewer elements", [](Records r) { r.f[1].alive = false; }},
      {"a link is missing", [](Records r) { r.e->start = nullptr; }},
      {"disagree", [](Records r) { r.e->next = r.e->next->next; }},
      {"twins not mutual", [](Records r) { r.e->twin->twin = nullptr; }},
      {"twins not mutual", [](Records r) { r.e->twin = r.e; }},
      {"another face", [](Records r) { r.e->face = r.e->twin->face; }},
      {"ring of another", [](Records r) { r.e->start = r.e->next->start; }},
      {"ring about the start", [](Records r) { r.e->outNext = r.e->outPrev = r.e; }},
      {"cycle longer", [](Records r) { r.f->size = 3; }},
      {"cycle shorter", [](Records r) { r.f->size = 5; }},
      {"first edge not of this", [](Records r) { r.f->first = r.e->twin; }},
      {"first edge does not", [](Records r) { r.v->first = r.v->first->next; }},
      {"first edge without", [](Records r) { r.v->first = nullptr; }}};
  for (const auto& [expected, plant] : plants) {
    SCOPED_TRACE(expected);
    TopoMesh mesh;
    const auto v = buildTopo(mesh, {Points(6), {{0, 1, 2, 3}, {1, 0, 4}, {0, 3, 5}}});
    const TopoMeshFace f = mesh.firstFace();
    std::string fault;
    ASSERT_TRUE(mesh.validate());
    plant({recordOf(v[0]), recordOf(f.firstEdge()), recordOf(f)});
    EXPECT_FALSE(mesh.validate(&fault));
    EXPECT_NE(fault.find(expected), std::string::npos) << fault;
  }
}

}  // namespace
}  // namespace qvGeom
