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

// ---- handles, lists, search ----

TEST(TopoMesh, ListsStayInOrderOfCreationAndNumbersAreNotReused) {
  TopoMesh mesh;
  const auto v = buildTopo(mesh, topoGrid(1, 1));
  EXPECT_EQ(numbersOf(listFrom(mesh.firstEdge())), (Numbers{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(mesh.firstFace().firstEdge().start(), v[0]);
  EXPECT_EQ(mesh.firstFace().firstEdge().next().start(), v[1]);

  const TopoMeshFace ear = mesh.findEdge(v[0], v[1]).face();
  EXPECT_FALSE(mesh.deleteVertex(v[1]));
  EXPECT_FALSE(v[1].isAlive() || ear.isAlive());
  EXPECT_EQ(v[1].number(), 2u);
  EXPECT_FALSE(mesh.allocTriangle(v[0], v[1], v[2])) << "a deleted vertex";
  EXPECT_FALSE(mesh.allocFace({v[0], v[2]}));
  EXPECT_FALSE(mesh.findEdge(v[0], v[1]) || mesh.findEdge(v[0], {}));
  EXPECT_EQ(v[0].firstEdge(), mesh.findEdge(v[0], v[3]));

  EXPECT_EQ(mesh.allocVertex({9, 9, 9}).number(), 5u);
  mesh.subdivideEdge(mesh.firstEdge(), {});
  mesh.subdivideFace(mesh.allocTriangle(v[2], v[0], v[3]), {});
  EXPECT_EQ(numbersOf(listFrom(mesh.firstVertex())), (Numbers{1, 3, 4, 5, 6, 7}));
  EXPECT_EQ(numbersOf(listFrom(mesh.firstFace())), (Numbers{2, 3, 4, 5}));
  const auto edges = listFrom(mesh.firstEdge());
  EXPECT_TRUE(std::is_sorted(edges.begin(), edges.end()) && TopoMeshEdge() < edges.front());
  const std::vector<TopoMeshVertex> corners(10000, v[0]);  // more than a block of records holds
  EXPECT_EQ(mesh.allocFace(corners).numVertices(), 10000);
  EXPECT_TRUE(isValid(mesh));
}

// Vertex 0 with two fans: a pair of triangles joined by the edge to 2, and a triangle on its own.
struct BowTie {
  TopoMesh mesh;
  std::vector<TopoMeshVertex> v;
  TopoMeshFace a, b, c;
  BowTie() {
    for (int i = 0; i < 6; ++i) v.push_back(mesh.allocVertex(Point(i, i * i, 0)));
    c = mesh.allocTriangle(v[0], v[4], v[5]);
    a = mesh.allocTriangle(v[0], v[1], v[2]);
    b = mesh.allocTriangle(v[0], v[2], v[3]);
    twinOpposites(mesh);
  }
};

TEST(TopoMesh, SearchKnowsAllFansAndIterationOne) {
  BowTie t;
  EXPECT_EQ(t.v[0].firstEdge(), t.c.firstEdge());
  EXPECT_EQ(t.v[0].valence(), 1);
  EXPECT_EQ(t.mesh.findEdge(t.v[0], t.v[2]), t.b.firstEdge());
  EXPECT_FALSE(t.mesh.findEdge(t.v[3], t.v[2]));
  t.mesh.allocTriangle(t.v[0], t.v[2], t.v[5]);
  EXPECT_EQ(t.mesh.findEdge(t.v[0], t.v[2]), t.b.firstEdge()) << "the oldest";

  t.mesh.allocTriangle(t.v[1], t.v[3], t.v[4]);
  EXPECT_FALSE(t.mesh.swapEdge(t.b.firstEdge())) << "joined by a half-edge 1 -> 3 of another fan";
  EXPECT_FALSE(t.mesh.swapEdge(t.b.firstEdge().twin())) << "seen from the other end";
  EXPECT_FALSE(t.mesh.canDeleteVertex(t.v[4]) || t.mesh.deleteVertex(t.v[4])) << "an ear, but of two fans";
  EXPECT_TRUE(t.v[4].isAlive() && isValid(t.mesh));
}

TEST(TopoMesh, AFirstEdgeIsFollowedByOneOfItsFan) {
  BowTie t;
  EXPECT_FALSE(t.mesh.deleteVertex(t.v[5]));  // the fan of the first edge goes
  EXPECT_EQ(t.v[0].firstEdge(), t.a.firstEdge()) << "the oldest that is left";
  EXPECT_EQ(t.v[0].valence(), 2);
  const TopoMeshFace late = t.mesh.allocTriangle(t.v[0], t.v[4], t.mesh.allocVertex({}));
  EXPECT_FALSE(t.mesh.deleteVertex(t.v[1]));
  EXPECT_EQ(t.v[0].firstEdge(), t.b.firstEdge());
  EXPECT_EQ(t.v[2].firstEdge(), t.b.firstEdge().next());
  EXPECT_FALSE(t.mesh.deleteVertex(t.v[3]));
  EXPECT_EQ(t.v[0].firstEdge(), late.firstEdge());
  EXPECT_FALSE(t.v[2].firstEdge());
  EXPECT_TRUE(t.v[2].onBoundary() && t.mesh.canDeleteVertex(t.v[2]));
  EXPECT_FALSE(TopoMeshEdgeVertexIterator(t.v[2]).valid());
  EXPECT_TRUE(isValid(t.mesh));
}

// The oldest half-edges of 0 and 3 come to lie in another fan and must not be taken.
TEST(TopoMesh, AFirstEdgeStaysInItsFanBesideAnOlderOne) {
  TopoMesh mesh;
  std::vector<TopoMeshVertex> v;
  for (int i = 0; i < 9; ++i) v.push_back(mesh.allocVertex({}));
  mesh.allocTriangle(v[5], v[8], v[6]);
  const TopoMeshFace beside = mesh.allocTriangle(v[5], v[8], v[7]);
  for (std::size_t i = 0; i < 4; ++i) mesh.allocTriangle(v[i], v[(i + 1) % 4], v[4]);
  twinOpposites(mesh);
  ASSERT_TRUE(mesh.mergeVertices(mesh.findEdge(v[3], v[0]), beside.firstEdge()));
  EXPECT_EQ(v[0].firstEdge(), mesh.findEdge(v[0], v[1]));
  ASSERT_TRUE(mesh.contractEdge(v[0].firstEdge(), v[0]));
  EXPECT_EQ(v[0].firstEdge(), mesh.findEdge(v[0], v[4]));
  ASSERT_TRUE(mesh.deleteVertex(v[4]));
  EXPECT_EQ(v[0].firstEdge(), mesh.findEdge(v[0], v[2]));
  EXPECT_FALSE(mesh.deleteVertex(v[2]));
  EXPECT_EQ(v[0].firstEdge(), beside.firstEdge());
  EXPECT_EQ(v[3].firstEdge(), beside.firstEdge().next());
  EXPECT_TRUE(isValid(mesh));
}

TEST(TopoMesh, TwinsMustBeFreeOppositeAndNoLoops) {
  TopoMesh mesh;
  const auto v = buildTopo(mesh, topoGrid(1, 1));
  const TopoMeshEdge inner = mesh.findEdge(v[3], v[0]);
  ASSERT_TRUE(inner.twin());
  const TopoMeshEdge third = mesh.allocTriangle(v[0], v[3], v[2]).firstEdge();
  const TopoMeshEdge loop = mesh.allocTriangle(v[1], v[1], v[2]).firstEdge();
  const TopoMeshEdge other = mesh.allocTriangle(v[1], v[1], v[2]).firstEdge();
  EXPECT_FALSE(mesh.setTwins(third, inner)) << "stealing a twin";
  EXPECT_FALSE(mesh.setTwins(loop, loop) || mesh.setTwins(loop, other)) << "from a vertex to itself";
  EXPECT_FALSE(mesh.setTwins(third, third.next())) << "not opposite";
  EXPECT_FALSE(mesh.setTwins(third, {}) || mesh.setTwins({}, third));
  EXPECT_TRUE(isValid(mesh));
}

// ---- swapping, cutting, deleting ----

TEST(TopoMesh, SwapTurnsTheDiagonalAndBack) {
  TopoMesh mesh;
  const auto v = buildTopo(mesh, topoGrid(1, 1));  // q0 = 3, q1 = 0, q2 = 1, q3 = 2
  const TopoMeshEdge e = mesh.findEdge(v[3], v[0]), t = e.twin();
  const TopoMeshEdge q1q2 = mesh.findEdge(v[0], v[1]), q3q1 = mesh.findEdge(v[2], v[0]);
  const auto lists = numbersOf(listFrom(mesh.firstEdge()));
  const auto before = faceSet(mesh);
  const TopoMeshFace ofE = e.face(), ofT = t.face();
  ASSERT_TRUE(mesh.swapEdge(e));
  EXPECT_TRUE(e.start() == v[1] && e.end() == v[2] && e.twin() == t);
  EXPECT_TRUE(e.face() == ofE && t.face() == ofT && q1q2.face() == ofE && q3q1.face() == ofE);
  EXPECT_TRUE(e.next() == q3q1 && e.prev() == q1q2);
  EXPECT_TRUE(v[3].valence() == 1 && v[0].valence() == 1 && v[1].valence() == 2);
  EXPECT_TRUE(isValid(mesh));
  ASSERT_TRUE(mesh.swapEdge(e));
  EXPECT_TRUE(e.start() == v[0] && e.end() == v[3]) << "ends exchanged";
  EXPECT_EQ(faceSet(mesh), before);
  EXPECT_EQ(numbersOf(listFrom(mesh.firstEdge())), lists);
  EXPECT_FALSE(mesh.swapEdge(q1q2)) << "boundary";
}

TEST(TopoMesh, IterationOutlivesSwapsOfWhatItHasLeft) {
  TopoMesh mesh;
  const auto v = buildTopo(mesh, topoTorus(5, 5));
  TopoMeshEdgeVertexIterator it(v[12]);
  ASSERT_EQ(v[12].valence(), 6);
  ASSERT_EQ(it.get(), v[12].firstEdge());
  std::set<TopoMeshVertex> ends;
  for (int steps = 0; it.valid(); ++steps) {
    ASSERT_LT(steps, 6);
    const TopoMeshEdge e = it.get();
    ends.insert(e.end());
    it.next();
    ASSERT_TRUE(steps >= 3 || mesh.swapEdge(e));
  }
  EXPECT_EQ(ends.size(), 6u);
  EXPECT_EQ(v[12].valence(), 3);
  EXPECT_TRUE(isValid(mesh));
}

TEST(TopoMesh, DeletingAVertexOfThreeTrianglesUndoesSubdivision) {
  TopoMesh mesh;
  buildTopo(mesh, topoIcosahedron());
  const auto before = faceSet(mesh);
  const TopoMeshFace f = mesh.firstFace();
  const TopoMeshEdge e = f.firstEdge(), twin = e.twin(), second = e.next();
  const TopoMeshVertex m = mesh.subdivideFace(f, f.centroid());
  EXPECT_TRUE(m.valence() == 3 && !m.onBoundary());
  EXPECT_TRUE(e.face() == f && second.face() != f && e.twin() == twin);
  const auto divided = faceSet(mesh);
  EXPECT_EQ(mesh.deleteVertex(m), f) << "the oldest of the three";
  EXPECT_TRUE(f.firstEdge() == e && e.next() == second && e.twin() == twin);
  EXPECT_EQ(faceSet(mesh), before);

  const TopoMeshVertex again = mesh.subdivideFace(f, f.centroid());
  std::multiset<Numbers> renamed;
  for (Numbers corners : faceSet(mesh)) {
    std::replace(corners.begin(), corners.end(), again.number(), m.number());
    renamed.insert(corners);
  }
  EXPECT_EQ(renamed, divided);
  EXPECT_TRUE(isValid(mesh));

  TopoMesh tetrahedron;
  const auto v = buildTopo(tetrahedron, {{{}, {}, {}, {}}, {{0, 1, 2}, {0, 2, 3}, {0, 3, 1}, {3, 2, 1}}});
  const std::uint64_t print = fingerprint(tetrahedron);
  EXPECT_FALSE(tetrahedron.canDeleteVertex(v[0]) || tetrahedron.deleteVertex(v[0]));
  EXPECT_FALSE(tetrahedron.contractEdge(tetrahedron.firstEdge(), v[0]));
  EXPECT_EQ(fingerprint(tetrahedron), print);
}

TEST(TopoMesh, CutsOfLargeFacesAndEdges) {
  TopoMesh mesh;
  std::vector<TopoMeshVertex> v;
  for (int i = 0; i < 6; ++i) v.push_back(mesh.allocVertex(Point(i, 0, 0)));
  const TopoMeshFace f = mesh.allocFace(v);
  const TopoMeshEdge e0 = f.firstEdge(), e2 = e0.next().next(), e5 = e0.prev();
  EXPECT_FALSE(mesh.subdivideFace(f, {}) || mesh.subdivideFace(e0, e0) || mesh.subdivideFace(e0, e5));
  const TopoMeshEdge d = mesh.subdivideFace(e2, e0);  // keeps 2 3 4 5 0, although 0->1 was the first edge
  EXPECT_TRUE(d.start() == v[0] && d.end() == v[2] && d.face() == f && f.firstEdge() == e2);
  EXPECT_EQ(cornersOf(f), (Numbers{1, 3, 4, 5, 6}));
  EXPECT_EQ(cornersOf(d.twin().face()), (Numbers{1, 2, 3}));
  EXPECT_EQ(d.twin().face().firstEdge(), e0);

  const TopoMeshEdge t = d.twin();
  const TopoMeshVertex m = mesh.subdivideEdge(d, {7, 7, 7});
  EXPECT_TRUE(d.end() == m && t.end() == m && d.next().twin() == t && t.next().twin() == d);
  EXPECT_EQ(m.valence(), 2);
  EXPECT_EQ(f.numVertices(), 6);
  EXPECT_TRUE(isValid(mesh));

  // Both sides of an edge in one face, one right behind the other.
  const TopoMeshEdge a = mesh.allocFace({v[0], v[1], v[2], v[1]}).firstEdge().next();
  ASSERT_TRUE(mesh.setTwins(a, a.next()));
  const TopoMeshVertex tip = a.end();
  const TopoMeshVertex middle = mesh.subdivideEdge(a, {});
  EXPECT_EQ(a.face().numVertices(), 6);
  EXPECT_TRUE(a.end() == middle && a.next().end() == tip && a.next().twin() == a.next().next());
  EXPECT_FALSE(mesh.subdivideFace(a, a.next().next().next().next())) << "a diagonal from 1 to 1";
  EXPECT_TRUE(isValid(mesh));
}

// ---- boundaries and joining ----

TEST(TopoMesh, BoundaryWalksStayInTheirFan) {
  BowTie t;
  TopoMeshBoundaryIterator walk(t.mesh.findEdge(t.v[0], t.v[1]));
  std::vector<TopoMeshVertex> loop;
  do {
    loop.push_back(walk.get().start());
    TopoMeshEdge prev, next;
    walk.getPrevNextEdges(prev, next);
    EXPECT_TRUE(next == walk.get() && prev.end() == next.start() && !prev.twin());
    walk.nextEdge();
  } while (walk.get().start() != t.v[0] && loop.size() < 9);
  EXPECT_EQ(numbersOf(loop), (Numbers{1, 2, 3, 4}));
  EXPECT_EQ(walk.get().end(), t.v[1]) << "not over into the other fan";

  TopoMeshEdge prev, next;
  TopoMeshBoundaryIterator atVertex(t.v[0]);
  atVertex.getPrevNextEdges(prev, next);
  EXPECT_TRUE(next == t.c.firstEdge() && prev == next.prev());
  t.mesh.deleteVertex(t.v[4]);
  EXPECT_FALSE(atVertex.nextEdge() || atVertex.valid()) << "stood on a deleted half-edge";
  EXPECT_FALSE(TopoMeshBoundaryIterator(t.b.firstEdge()).valid()) << "an inner one";
  EXPECT_FALSE(TopoMeshBoundaryIterator(t.v[5]).valid()) << "no faces";
}

TEST(TopoMesh, ContractionOnAGrid) {
  struct Case {
    const char* name;
    int from, to, keep;
    bool done;
    Counts change;
  };
  // Vertices i + 4j, diagonals from lower left to upper right.
  for (const Case& c : {Case{"inner edge", 5, 10, 5, true, {-1, -3, -2}},
                        Case{"inner edge onto the boundary", 5, 4, 4, true, {-1, -3, -2}},
                        Case{"boundary vertex moved inside", 5, 4, 5, true, {-1, -3, -2}},
                        Case{"boundary edge", 1, 2, 1, true, {-1, -2, -1}},
                        Case{"boundary edge next to an ear", 2, 3, 3, true, {-1, -2, -1}},
                        Case{"side of an ear, tip kept", 3, 7, 3, true, {-1, -2, -1}},
                        Case{"side of an ear, tip removed", 3, 7, 7, true, {-1, -2, -1}},
                        Case{"inner edge from boundary to boundary", 2, 7, 2, false, {}},
                        Case{"kept vertex no end", 5, 10, 6, false, {}}}) {
    SCOPED_TRACE(c.name);
    TopoMesh mesh;
    const auto v = buildTopo(mesh, topoGrid(3, 3));
    const auto at = [&v](int i) { return v[static_cast<std::size_t>(i)]; };
    const Counts before = countsOf(mesh);
    const Point kept = at(c.keep).point();
    const TopoMeshEdge e = mesh.findEdge(at(c.from), at(c.to));
    ASSERT_TRUE(e);
    EXPECT_EQ(mesh.contractEdge(e, at(c.keep)), c.done);
    EXPECT_EQ(countsOf(mesh), before + c.change);
    EXPECT_TRUE(isSimplicialSurface(mesh));
    EXPECT_TRUE(at(c.keep).isAlive() && at(c.keep).point() == kept && e.isAlive() != c.done);
  }
}

TEST(TopoMesh, ContractionRefusesWhatWouldFoldTheMesh) {
  struct Case {
    const char* name;
    std::vector<std::vector<std::size_t>> faces;  // the edge is 0 -> 1
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
    std::vector<TopoMeshVertex> v;
    for (int i = 0; i < 7; ++i) v.push_back(mesh.allocVertex(Point(i, 0, 0)));
    for (const auto& face : c.faces) {
      std::vector<TopoMeshVertex> corners;
      for (std::size_t i : face) corners.push_back(v[i]);
      mesh.allocFace(corners);
    }
    twinOpposites(mesh);
    const std::uint64_t print = fingerprint(mesh);
    EXPECT_EQ(mesh.contractEdge(mesh.findEdge(v[0], v[1]), v[0]), c.done);
    EXPECT_EQ(fingerprint(mesh) == print, !c.done);
    EXPECT_TRUE(isValid(mesh));
  }
}

TEST(TopoMesh, MergingZipsTwoStripsAndReHangsEveryFan) {
  TopoMesh mesh;
  const auto v = buildTopo(mesh, topoGrid(3, 1)), w = buildTopo(mesh, topoGrid(3, 1));
  const TopoMeshVertex tip = mesh.allocVertex({}), tail = mesh.allocVertex({});
  const TopoMeshFace bow = mesh.allocTriangle(w[1], tip, tail);  // another fan at a vertex that goes
  mesh.allocTriangle(v[5], tip, mesh.allocVertex({}));
  const TopoMeshEdge a0 = mesh.findEdge(v[5], v[4]);
  EXPECT_FALSE(mesh.mergeVertices(a0, a0) || mesh.mergeVertices(a0, mesh.findEdge(v[0], v[5])));
  EXPECT_FALSE(mesh.mergeVertices(a0, mesh.findEdge(v[4], v[0]))) << "5 and 0 are neighbours";
  EXPECT_FALSE(mesh.mergeVertices(bow.firstEdge(), mesh.findEdge(w[1], w[2]))) << "would become a loop";
  EXPECT_FALSE(mesh.mergeVertices(a0, {}));
  int expected = mesh.numVertices();
  for (std::size_t i = 0; i < 3; ++i) {
    const TopoMeshEdge a = mesh.findEdge(v[5 + i], v[4 + i]);
    const TopoMeshEdge ofW = mesh.findEdge(i == 0 ? w[0] : v[4 + i], w[i + 1]);
    ASSERT_TRUE(mesh.mergeVertices(a, ofW)) << i;
    EXPECT_EQ(mesh.numVertices(), expected -= i == 0 ? 2 : 1);
    EXPECT_TRUE(a.twin() == ofW && !w[i + 1].isAlive() && v[5 + i].isAlive());
    EXPECT_TRUE(isValid(mesh));
  }
  EXPECT_EQ(bow.firstEdge().start(), v[5]);
  EXPECT_EQ(mesh.findEdge(v[5], tip), bow.firstEdge()) << "came later to 5 but is older";
  EXPECT_EQ(v[5].valence(), 6) << "closed by the seam";
  EXPECT_FALSE(v[5].onBoundary());
}

// ---- the check itself ----

template <typename Handle>
auto* recordOf(Handle handle) {
  struct Opened : Handle {
    explicit Opened(Handle h) : Handle(h) {}
    auto* get() const { return this->record_; }
  };
  return Opened(handle).get();
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
      {"wrong end", [](Records r) { r.f->listNext = nullptr; }},
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
    std::vector<TopoMeshVertex> v;
    for (int i = 0; i < 6; ++i) v.push_back(mesh.allocVertex({}));
    const TopoMeshFace f = mesh.allocFace({v[0], v[1], v[2], v[3]});
    mesh.allocTriangle(v[1], v[0], v[4]);
    mesh.allocTriangle(v[0], v[3], v[5]);
    twinOpposites(mesh);
    std::string fault;
    ASSERT_TRUE(mesh.validate());
    plant({recordOf(v[0]), recordOf(f.firstEdge()), recordOf(f)});
    EXPECT_FALSE(mesh.validate(&fault));
    EXPECT_NE(fault.find(expected), std::string::npos) << fault;
  }
}

}  // namespace
}  // namespace qvGeom
