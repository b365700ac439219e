#include "geom/model/trellis/topo_mesh.h"

#include <algorithm>
#include <array>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/support/topo_build.h"

namespace qvGeom {
namespace {

using qvLinear::Point;
using test::buildTopo;
using test::topoGrid;
using test::topoIcosahedron;
using test::topoTorus;
using test::twinOpposites;

::testing::AssertionResult isValid(const TopoMesh& mesh) {
  std::string fault;
  if (mesh.validate(&fault)) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << fault;
}

// Elements in list order.
template <typename Handle>
std::vector<Handle> listFrom(Handle first) {
  std::vector<Handle> all;
  for (; first; first = first.nextInMesh()) all.push_back(first);
  return all;
}

using Numbers = std::vector<std::uint64_t>;

template <typename Handle>
Numbers numbersOf(const std::vector<Handle>& handles) {
  Numbers numbers;
  for (const Handle& h : handles) numbers.push_back(h.number());
  return numbers;
}

// Vertex numbers of a face from its lowest on, so that equal cycles compare equal.
Numbers cornersOf(TopoMeshFace f) {
  Numbers corners;
  TopoMeshEdge e = f.firstEdge();
  for (int i = 0; i < f.numVertices(); ++i, e = e.next()) corners.push_back(e.start().number());
  std::rotate(corners.begin(), std::min_element(corners.begin(), corners.end()), corners.end());
  return corners;
}

std::multiset<Numbers> faceSet(const TopoMesh& mesh) {
  std::multiset<Numbers> faces;
  for (TopoMeshFace f : listFrom(mesh.firstFace())) faces.insert(cornersOf(f));
  return faces;
}

// Everything a caller can see, in one number.
std::uint64_t fingerprint(const TopoMesh& mesh) {
  std::uint64_t sum = 0xcbf29ce484222325u;
  const auto mix = [&sum](std::uint64_t x) { sum = (sum ^ x) * 0x100000001b3u ^ sum >> 29; };
  for (auto v = mesh.firstVertex(); v; v = v.nextInMesh()) {
    mix(v.number());
    mix(v.firstEdge().number());
    mix(std::hash<double>()(v.point()[0] + 3 * v.point()[1] + 7 * v.point()[2]));
  }
  for (auto e = mesh.firstEdge(); e; e = e.nextInMesh())
    for (auto n : {e.number(), e.start().number(), e.face().number(), e.next().number(), e.twin().number()})
      mix(n);
  for (auto f = mesh.firstFace(); f; f = f.nextInMesh()) {
    mix(f.number());
    mix(f.firstEdge().number());
  }
  return sum;
}

// Vertices, edges (two twins are one) and faces.
struct Counts {
  int v = 0, e = 0, f = 0;
  friend Counts operator+(Counts a, Counts b) { return {a.v + b.v, a.e + b.e, a.f + b.f}; }
  friend bool operator==(const Counts&, const Counts&) = default;
  friend std::ostream& operator<<(std::ostream& os, const Counts& c) {
    return os << c.v << " vertices, " << c.e << " edges, " << c.f << " faces";
  }
  int euler() const { return v - e + f; }
};

Counts countsOf(const TopoMesh& mesh) {
  int open = 0;
  for (auto e = mesh.firstEdge(); e; e = e.nextInMesh()) open += !e.twin();
  return {mesh.numVertices(), (mesh.numEdges() + open) / 2, mesh.numFaces()};
}

// ---- random edits ----

enum Op {
  kAllocVertex,
  kAllocTriangle,
  kAllocFace,
  kSetTwins,
  kSwap,
  kSplitFace,
  kCutFace,
  kSplitEdge,
  kDelete,
  kContract,
  kMerge,
  kNumOps
};

struct Step {
  Op op;
  Counts change;             // that a success brings, foreseen before the call
  std::uint64_t result = 0;  // number of what was made, 1 for a plain success, 0 when refused
};

// Draws operations and arguments, now and then null or deleted ones, and keeps the mesh small.
class Editor {
 public:
  Editor(const std::function<void(TopoMesh&)>& fill, unsigned seed) : random_(seed) { fill(mesh); }

  TopoMesh mesh;

  Step step() {
    vertices_ = listFrom(mesh.firstVertex());
    edges_ = listFrom(mesh.firstEdge());
    faces_ = listFrom(mesh.firstFace());
    open_.clear();
    for (TopoMeshEdge e : edges_)
      if (!e.twin()) open_.push_back(e);
    Op op = static_cast<Op>(below(5) ? kSwap + below(kNumOps - kSwap) : below(kSwap));
    if (mesh.numFaces() > 45 && (op == kAllocTriangle || op == kAllocFace || op == kSplitFace))
      op = kContract;
    if (mesh.numVertices() > 35 && (op == kAllocVertex || op == kSplitEdge)) op = kDelete;
    return op < kSwap ? create(op) : op == kDelete ? remove() : op < kDelete ? cut(op) : join(op);
  }

 private:
  std::size_t below(std::size_t n) { return random_() % n; }
  Point point() { return Point(double(below(100)), double(below(100)), double(below(100))); }
  template <typename Handle>
  Handle pick(const std::vector<Handle>& from) {
    const std::size_t odd = below(40);
    Handle& gone = std::get<Handle>(gone_);
    if (odd == 0 || from.empty()) return Handle();
    if (odd == 1) return gone;
    const Handle picked = from[below(from.size())];
    if (odd == 2) gone = picked;  // dead before long
    return picked;
  }

  Step create(Op op) {
    if (op == kAllocVertex) return {op, {1, 0, 0}, mesh.allocVertex(point()).number()};
    if (op == kSetTwins) {
      const TopoMeshEdge a = pick(open_);
      const TopoMeshEdge b = a.isAlive() && below(4) ? mesh.findEdge(a.end(), a.start()) : pick(edges_);
      return {op, {0, -1, 0}, mesh.setTwins(a, b)};
    }
    const int k = op == kAllocTriangle ? 3 : 2 + static_cast<int>(below(5));
    std::vector<TopoMeshVertex> corners;
    for (int i = 0; i < k; ++i) corners.push_back(pick(vertices_));
    const TopoMeshFace f = op == kAllocTriangle ? mesh.allocTriangle(corners[0], corners[1], corners[2])
                                                : mesh.allocFace(corners);
    return {op, {0, k, 1}, f.number()};
  }

  Step cut(Op op) {
    const TopoMeshEdge e = pick(edges_);
    if (op == kSwap) return {op, {}, mesh.swapEdge(e)};
    if (op == kSplitFace) return {op, {1, 3, 2}, mesh.subdivideFace(pick(faces_), point()).number()};
    if (op == kSplitEdge) return {op, {1, 1, 0}, mesh.subdivideEdge(e, point()).number()};
    TopoMeshEdge to = e;
    for (std::size_t i = below(5); e && i > 0; --i) to = to.next();
    return {op, {0, 1, 1}, mesh.subdivideFace(e, below(20) ? to : pick(edges_)).number()};
  }

  Step remove() {
    const TopoMeshVertex v = pick(vertices_);
    const bool can = mesh.canDeleteVertex(v);
    Counts change{-1, 0, 0};
    if (can && v.firstEdge())
      change = !v.onBoundary() ? Counts{-1, -3, -2} : Counts{-1, v.firstEdge().next().twin() ? -2 : -3, -1};
    const TopoMeshFace filled = mesh.deleteVertex(v);
    EXPECT_EQ(can && change.f == -2, filled.isAlive());
    EXPECT_TRUE(!can || !v.isAlive());
    return {kDelete, change, can};
  }

  Step join(Op op) {
    if (op == kContract) {
      const TopoMeshEdge e = pick(edges_);
      int triangles = 0;
      if (e.isAlive())
        triangles = (e.face().numVertices() == 3) + (e.twin() && e.twin().face().numVertices() == 3);
      const TopoMeshVertex keep = !e || !below(20) ? pick(vertices_) : below(2) ? e.start() : e.end();
      return {op, {-1, -1 - triangles, -triangles}, mesh.contractEdge(e, keep)};
    }
    const TopoMeshEdge a = pick(open_), b = pick(open_);
    int removed = 0;
    if (a.isAlive() && b.isAlive()) removed = (a.start() != b.end()) + (a.end() != b.start());
    return {op, {-removed, -1, 0}, mesh.mergeVertices(a, b)};
  }

  std::mt19937 random_;
  std::vector<TopoMeshVertex> vertices_;
  std::vector<TopoMeshEdge> edges_, open_;
  std::vector<TopoMeshFace> faces_;
  std::tuple<TopoMeshVertex, TopoMeshEdge, TopoMeshFace> gone_;
};

// Three faces on an edge, a bow-tie, faces that repeat a vertex, a spike whose sides are twins, a doubled
// triangle and polygons.
void fillBadly(TopoMesh& mesh) {
  const auto v = buildTopo(mesh, topoGrid(3, 3));
  mesh.allocTriangle(v[0], v[1], v[10]);
  mesh.allocTriangle(v[1], v[0], v[11]);
  mesh.allocTriangle(v[0], v[14], v[15]);
  mesh.allocTriangle(v[0], v[1], v[5]);
  mesh.allocTriangle(v[2], v[2], v[3]);
  mesh.allocTriangle(v[4], v[4], v[4]);
  const TopoMeshFace spike = mesh.allocTriangle(v[6], v[7], v[6]);
  EXPECT_TRUE(mesh.setTwins(spike.firstEdge(), spike.firstEdge().next()));
  mesh.allocFace({v[8], v[9], v[8], v[9], v[12]});
  mesh.allocFace({v[3], v[2], v[13], v[14], v[15]});
  twinOpposites(mesh);
}

// Many short sessions: in a long one random faces pile up until nearly everything is refused.
TEST(TopoMesh, RandomEditsKeepEveryInvariant) {
  const std::pair<const char*, std::function<void(TopoMesh&)>> starts[] = {
      {"icosahedron", [](TopoMesh& m) { buildTopo(m, topoIcosahedron()); }},
      {"torus", [](TopoMesh& m) { buildTopo(m, topoTorus(4, 4)); }},
      {"open grid", [](TopoMesh& m) { buildTopo(m, topoGrid(4, 4)); }},
      {"non-manifold and degenerate", fillBadly}};
  std::array<std::array<int, 2>, kNumOps> tally{};  // by operation: refused, done
  for (unsigned seed = 0; seed < 200; ++seed) {
    const auto& [name, fill] = starts[seed % 4];
    SCOPED_TRACE(std::string(name) + ", seed " + std::to_string(seed));
    Editor editor(fill, seed), again(fill, seed);
    ASSERT_TRUE(isValid(editor.mesh));
    Counts counts = countsOf(editor.mesh);
    std::uint64_t print = fingerprint(editor.mesh);
    for (int i = 0; i < 500; ++i) {
      const Step step = editor.step();
      const std::string where = "step " + std::to_string(i) + ", operation " + std::to_string(step.op);
      ASSERT_TRUE(isValid(editor.mesh)) << where;
      ASSERT_EQ(step.result, again.step().result) << where;
      const std::uint64_t before = std::exchange(print, fingerprint(editor.mesh));
      if (step.result) counts = counts + step.change;
      ASSERT_TRUE(step.result || print == before) << "refused but changed: " << where;
      ASSERT_EQ(countsOf(editor.mesh), counts) << where;
      ++tally[step.op][step.result != 0];
    }
    EXPECT_EQ(fingerprint(again.mesh), print);
  }
  for (std::size_t op = 0; op < kNumOps; ++op) {
    EXPECT_GT(tally[op][1], 200) << "operation " << op << " hardly ever done";
    EXPECT_TRUE(op == kAllocVertex || tally[op][0] > 50) << "operation " << op << " hardly ever refused";
  }
}

// Whether the mesh is a surface of triangles with one fan at each vertex and no edge or face twice.
::testing::AssertionResult isSimplicialSurface(const TopoMesh& mesh) {
  if (auto valid = isValid(mesh); !valid) return valid;
  std::map<TopoMeshVertex, int> outgoing;
  std::set<std::pair<TopoMeshVertex, TopoMeshVertex>> directed;
  std::set<Numbers> faces;
  for (TopoMeshEdge e : listFrom(mesh.firstEdge())) {
    ++outgoing[e.start()];
    if (!directed.insert({e.start(), e.end()}).second) return ::testing::AssertionFailure() << "edge twice";
  }
  for (const auto& [v, n] : outgoing)
    if (v.valence() != n) return ::testing::AssertionFailure() << "several fans at vertex " << v.number();
  for (TopoMeshEdge e : listFrom(mesh.firstEdge()))
    if (!e.twin() && directed.count({e.end(), e.start()})) return ::testing::AssertionFailure() << "seam";
  for (TopoMeshFace f : listFrom(mesh.firstFace())) {
    Numbers corners = cornersOf(f);
    std::sort(corners.begin(), corners.end());
    if (corners.size() != 3 || !faces.insert(corners).second)
      return ::testing::AssertionFailure() << "face " << f.number() << " is no triangle or lies on another";
  }
  return ::testing::AssertionSuccess();
}

// What the refusals of swapping, deleting and contracting are for. The mesh is driven down to the smallest
// that its genus allows, over and over.
TEST(TopoMesh, RandomEditsKeepASimplicialSurfaceOne) {
  const test::TopoSoup starts[] = {topoIcosahedron(), topoTorus(4, 4), topoGrid(3, 3)};
  for (unsigned seed = 0; seed < 6; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    TopoMesh mesh;
    buildTopo(mesh, starts[seed % 3]);
    const int euler = countsOf(mesh).euler();
    std::mt19937 random(seed);
    std::size_t smallest = 1000;
    for (int i = 0; i < 3000; ++i) {
      const auto edges = listFrom(mesh.firstEdge());
      const TopoMeshEdge e = edges[random() % edges.size()];
      const bool growing = i % 200 < 60;
      switch (random() % (growing ? 4 : 3)) {
        case 0:
          mesh.swapEdge(e);
          break;
        case 1:
          mesh.contractEdge(e, random() % 2 ? e.start() : e.end());
          break;
        case 2:
          if (mesh.numFaces() > 1) mesh.deleteVertex(e.start());
          break;
        default:
          if (random() % 2) {
            mesh.subdivideFace(e.face(), e.face().centroid());
          } else {
            const TopoMeshEdge twin = e.twin();
            mesh.subdivideEdge(e, e.start().point());
            mesh.subdivideFace(e.next(), e.prev());
            if (twin) mesh.subdivideFace(twin.next(), twin.prev());
          }
      }
      ASSERT_TRUE(isSimplicialSurface(mesh)) << "step " << i;
      ASSERT_EQ(countsOf(mesh).euler(), euler) << "step " << i;
      smallest = std::min(smallest, edges.size());
    }
    const std::size_t expected[] = {12, 42, 3};  // tetrahedron, 7-vertex torus, one triangle
    EXPECT_GE(smallest, expected[seed % 3]);
    EXPECT_LE(smallest, expected[seed % 3] + 18) << "never came near the smallest surface";
  }
}

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
  const TopoMeshFace twice = t.mesh.allocTriangle(t.v[0], t.v[2], t.v[5]);
  EXPECT_EQ(t.mesh.findEdge(t.v[0], t.v[2]), t.b.firstEdge()) << "the oldest";

  // A swapped half-edge comes late to the vertex but is still the older one.
  t.mesh.allocTriangle(t.v[1], t.v[3], t.v[4]);
  const TopoMeshEdge oldDiagonal = t.b.firstEdge();
  EXPECT_FALSE(t.mesh.swapEdge(oldDiagonal)) << "1 and 3 are joined already";
  EXPECT_FALSE(t.mesh.canDeleteVertex(t.v[0])) << "several fans";
  EXPECT_TRUE(t.mesh.deleteVertex(t.v[4]) == TopoMeshFace() && t.v[4].isAlive()) << "two fans";
  EXPECT_TRUE(t.mesh.contractEdge(t.a.firstEdge(), t.v[0]) == false) << "1 has two fans";
  EXPECT_EQ(twice.numVertices(), 3);
  EXPECT_TRUE(isValid(t.mesh));
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
  EXPECT_EQ(mesh.findEdge(v[5], tip), bow.firstEdge());
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
  struct Plant {
    const char* fault;
    std::function<void(topo::Vertex&, topo::Edge&, topo::Face&)> plant;
  };
  using V = topo::Vertex;
  using E = topo::Edge;
  using F = topo::Face;
  for (const Plant& p : {Plant{"not in order", [](V&, E&e, F&) { e.number = 99; }},
                         Plant{"a deleted element", [](V&v, E&, F&) { v.alive = false; }},
                         Plant{"wrong end", [](V&, E&, F&f) { f.listNext = nullptr; }},
                         Plant{"a link is missing", [](V&, E&e, F&) { e.start = nullptr; }},
                         Plant{"disagree", [](V&, E&e, F&) { e.next = e.next->next; }},
                         Plant{"twins not mutual", [](V&, E&e, F&) { e.twin->twin = nullptr; }},
                         Plant{"twins not mutual", [](V&, E&e, F&) { e.twin = &e; }},
                         Plant{"another face", [](V&, E&e, F&) { e.face = e.twin->face; }},
                         Plant{"ring of another", [](V&, E&e, F&) { e.start = e.next->start; }},
                         Plant{"ring about the start", [](V&, E&e, F&) { e.outNext = e.outPrev = &e; }},
                         Plant{"cycle longer", [](V&, E&, F&f) { f.size = 3, f.first->face->size = 3; }},
                         Plant{"cycle shorter", [](V&, E&, F&f) { f.size = 5; }},
                         Plant{"first edge not of this", [](V&, E&e, F&f) { f.first = e.twin; }},
                         Plant{"first edge does not", [](V&v, E&, F&) { v.first = v.first->next; }},
                         Plant{"first edge without", [](V&v, E&, F&) { v.first = nullptr; }}}) {
    SCOPED_TRACE(p.fault);
    TopoMesh mesh;
    std::vector<TopoMeshVertex> v;
    for (int i = 0; i < 6; ++i) v.push_back(mesh.allocVertex({}));
    const TopoMeshFace f = mesh.allocFace({v[0], v[1], v[2], v[3]});
    mesh.allocTriangle(v[1], v[0], v[4]);
    mesh.allocTriangle(v[0], v[3], v[5]);
    twinOpposites(mesh);
    std::string fault;
    ASSERT_TRUE(mesh.validate());
    p.plant(*recordOf(v[0]), *recordOf(f.firstEdge()), *recordOf(f));
    EXPECT_FALSE(mesh.validate(&fault));
    EXPECT_NE(fault.find(p.fault), std::string::npos) << fault;
  }
}

}  // namespace
}  // namespace qvGeom
