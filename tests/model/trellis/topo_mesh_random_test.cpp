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

#include "geom/model/trellis/topo_mesh.h"

#include "tests/support/topo_build.h"
#include "tests/support/topo_checks.h"

namespace qvGeom {
namespace {

using qvLinear::Point;
using namespace test;

enum Op {
  kVertex,
  kTriangle,
  kFace,
  kTwins,
  kSwap,
  kPoke,
  kCut,
  kSplit,
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
    if (mesh.numFaces() > 45 && (op == kTriangle || op == kFace || op == kPoke)) op = kContract;
    if (mesh.numVertices() > 35 && (op == kVertex || op == kSplit)) op = kDelete;
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
    if (op == kVertex) return {op, {1, 0, 0}, mesh.allocVertex(point()).number()};
    if (op == kTwins) {
      const TopoMeshEdge a = pick(open_);
      const TopoMeshEdge b = a.isAlive() && below(4) ? mesh.findEdge(a.end(), a.start()) : pick(edges_);
      return {op, {0, -1, 0}, mesh.setTwins(a, b)};
    }
    const int k = op == kTriangle ? 3 : 2 + static_cast<int>(below(5));
    std::vector<TopoMeshVertex> corners;
    for (int i = 0; i < k; ++i) corners.push_back(pick(vertices_));
    const TopoMeshFace f =
        op == kTriangle ? mesh.allocTriangle(corners[0], corners[1], corners[2]) : mesh.allocFace(corners);
    return {op, {0, k, 1}, f.number()};
  }

  Step cut(Op op) {
    const TopoMeshEdge e = pick(edges_);
    if (op == kSwap) return {op, {}, mesh.swapEdge(e)};
    if (op == kPoke) return {op, {1, 3, 2}, mesh.subdivideFace(pick(faces_), point()).number()};
    if (op == kSplit) return {op, {1, 1, 0}, mesh.subdivideEdge(e, point()).number()};
    TopoMeshEdge to = e;
    for (std::size_t i = below(5); e.isAlive() && i > 0; --i) to = to.next();
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
      const TopoMeshVertex keep = !e.isAlive() || !below(20) ? pick(vertices_)
                                  : below(2)                 ? e.start()
                                                             : e.end();
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

// Of each vertex the half-edges of the fan of its first edge.
using Fans = std::map<TopoMeshVertex, std::set<TopoMeshEdge>>;

Fans fansOf(const TopoMesh& mesh) {
  Fans fans;
  for (auto v = mesh.firstVertex(); v; v = v.nextInMesh())
    for (TopoMeshEdgeVertexIterator it(v); it.valid(); it.next()) fans[v].insert(it.get());
  return fans;
}

// Iteration meets each half-edge of a fan once, and a vertex stays with its fan while something is left of
// it.
::testing::AssertionResult fansFollow(const Fans& before, const Fans& now) {
  for (const auto& [v, fan] : now) {
    if (static_cast<int>(fan.size()) != v.valence() || !fan.count(v.firstEdge()))
      return ::testing::AssertionFailure() << "iteration about vertex " << v.number();
    const auto was = before.find(v);
    if (was == before.end()) continue;
    bool left = false, kept = false;
    for (TopoMeshEdge e : was->second) {
      left = left || (e.isAlive() && e.start() == v);
      kept = kept || fan.count(e);
    }
    if (left && !kept) return ::testing::AssertionFailure() << "fan lost at vertex " << v.number();
  }
  return ::testing::AssertionSuccess();
}

struct Start {
  const char* name;
  std::function<void(TopoMesh&)> fill;
};
const Start kStarts[] = {{"icosahedron", [](TopoMesh& m) { buildTopo(m, topoIcosahedron()); }},
                         {"torus", [](TopoMesh& m) { buildTopo(m, topoTorus(4, 4)); }},
                         {"open grid", [](TopoMesh& m) { buildTopo(m, topoGrid(4, 4)); }},
                         {"non-manifold and degenerate", fillBadly}};

// Many short sessions: in a long one random faces pile up until nearly everything is refused.
TEST(TopoMesh, RandomEditsKeepEveryInvariant) {
  std::array<std::array<int, 2>, kNumOps> tally{};  // by operation: refused, done
  for (unsigned seed = 0; seed < 200; ++seed) {
    const Start& start = kStarts[seed % 4];
    SCOPED_TRACE(std::string(start.name) + ", seed " + std::to_string(seed));
    Editor editor(start.fill, seed);
    const TopoMesh& mesh = editor.mesh;
    Counts counts = countsOf(mesh);
    std::uint64_t print = fingerprint(mesh);
    ASSERT_TRUE(isValid(mesh));
    for (int i = 0; i < 500; ++i) {
      const bool watchFans = i % 8 == 0;  // dear
      const Fans fans = watchFans ? fansOf(mesh) : Fans();
      const Step step = editor.step();
      const auto where = [&] { return ::testing::Message() << "step " << i << ", operation " << step.op; };
      ASSERT_TRUE(isValid(mesh)) << where();
      const std::uint64_t before = std::exchange(print, fingerprint(mesh));
      if (step.result) counts = counts + step.change;
      ASSERT_TRUE(step.result || print == before) << "refused but changed: " << where();
      ASSERT_EQ(countsOf(mesh), counts) << where();
      ASSERT_TRUE(!watchFans || fansFollow(fans, fansOf(mesh))) << where();
      ++tally[step.op][step.result != 0];
    }
  }
  for (std::size_t op = 0; op < kNumOps; ++op) {
    EXPECT_GT(tally[op][1], 200) << "operation " << op << " hardly ever done";
    EXPECT_TRUE(op == kVertex || tally[op][0] > 50) << "operation " << op << " hardly ever refused";
  }
}

TEST(TopoMesh, TheSameEditsGiveTheSameNumbers) {
  for (unsigned seed = 0; seed < 12; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Editor one(kStarts[seed % 4].fill, seed), two(kStarts[seed % 4].fill, seed);
    for (int i = 0; i < 500; ++i) ASSERT_EQ(one.step().result, two.step().result) << "step " << i;
    EXPECT_EQ(fingerprint(one.mesh), fingerprint(two.mesh));
  }
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
      const auto op = random() % (growing ? 5 : 3);
      if (op == 0) mesh.swapEdge(e);
      if (op == 1) mesh.contractEdge(e, random() % 2 ? e.start() : e.end());
      if (op == 2 && mesh.numFaces() > 1) mesh.deleteVertex(e.start());
      if (op == 3) mesh.subdivideFace(e.face(), e.face().centroid());
      if (op == 4) {
        const TopoMeshEdge twin = e.twin();
        mesh.subdivideEdge(e, e.start().point());
        mesh.subdivideFace(e.next(), e.prev());
        if (twin) mesh.subdivideFace(twin.next(), twin.prev());
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

}  // namespace
}  // namespace qvGeom
