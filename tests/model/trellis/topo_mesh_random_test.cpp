#include <algorithm>
#include <array>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <set>
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

enum Op { kVertex, kTriangle, kFace, kTwins, kSwap, kPoke, kCut, kSplit, kDelete, kContract, kMerge, kOps };

struct Step {
  Op op;
  std::uint64_t result;  // number of what was made, 1 for a plain success, 0 when refused
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
    Op op = static_cast<Op>(below(5) ? kSwap + below(kOps - kSwap) : below(kSwap));
    if (mesh.numFaces() > 45 && (op == kTriangle || op == kFace || op == kPoke)) op = kContract;
    if (mesh.numVertices() > 35 && (op == kVertex || op == kSplit)) op = kDelete;
    return op < kSwap ? create(op) : edit(op);
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
    if (op == kVertex) return {op, mesh.allocVertex(point()).number()};
    if (op == kTwins) {
      const TopoMeshEdge a = pick(open_);
      return {op,
              mesh.setTwins(a, a.isAlive() && below(4) ? mesh.findEdge(a.end(), a.start()) : pick(edges_))};
    }
    std::vector<TopoMeshVertex> corners(op == kTriangle ? 3 : 2 + below(5));
    for (TopoMeshVertex& corner : corners) corner = pick(vertices_);
    const TopoMeshFace f =
        op == kTriangle ? mesh.allocTriangle(corners[0], corners[1], corners[2]) : mesh.allocFace(corners);
    return {op, f.number()};
  }

  Step edit(Op op) {
    const TopoMeshEdge e = pick(edges_);
    const TopoMeshVertex v = pick(vertices_);
    if (op == kSwap) return {op, mesh.swapEdge(e)};
    if (op == kPoke) return {op, mesh.subdivideFace(pick(faces_), point()).number()};
    if (op == kSplit) return {op, mesh.subdivideEdge(e, point()).number()};
    if (op == kMerge) return {op, mesh.mergeVertices(pick(open_), pick(open_))};
    if (op == kContract)
      return {op, mesh.contractEdge(e, !e.isAlive() || !below(20) ? v : below(2) ? e.start() : e.end())};
    if (op == kCut) {
      TopoMeshEdge to = e;
      for (std::size_t i = below(5); e.isAlive() && i > 0; --i) to = to.next();
      return {op, mesh.subdivideFace(e, below(20) ? to : pick(edges_)).number()};
    }
    const bool can = mesh.canDeleteVertex(v), inner = can && v.firstEdge() && !v.onBoundary();
    EXPECT_EQ(mesh.deleteVertex(v).isAlive(), inner);
    EXPECT_TRUE(!can || !v.isAlive());
    return {op, can};
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
  TopoSoup soup = topoGrid(3, 3);
  for (const auto& face : {std::vector{0, 1, 10},
                           {1, 0, 11},
                           {0, 14, 15},
                           {0, 1, 5},
                           {2, 2, 3},
                           {4, 4, 4},
                           {8, 9, 8, 9, 12},
                           {3, 2, 13, 14, 15}})
    soup.faces.push_back(face);
  const auto v = buildTopo(mesh, soup);
  const TopoMeshEdge spike = mesh.allocTriangle(v[6], v[7], v[6]).firstEdge();
  EXPECT_TRUE(mesh.setTwins(spike, spike.next()));
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

const std::function<void(TopoMesh&)> kStarts[] = {
    [](TopoMesh& m) { buildTopo(m, topoIcosahedron()); }, [](TopoMesh& m) { buildTopo(m, topoTorus(4, 4)); },
    [](TopoMesh& m) { buildTopo(m, topoGrid(4, 4)); }, fillBadly};

// Many short sessions: in a long one random faces pile up until nearly everything is refused. The same edits
// of another mesh give the same numbers.
TEST(TopoMesh, RandomEditsKeepEveryInvariant) {
  std::array<std::array<int, 2>, kOps> tally{};  // by operation: refused, done
  for (unsigned seed = 0; seed < 200; ++seed) {
    Editor editor(kStarts[seed % 4], seed), again(kStarts[seed % 4], seed);
    const TopoMesh& mesh = editor.mesh;
    std::uint64_t print = fingerprint(mesh);
    ASSERT_TRUE(isValid(mesh));
    for (int i = 0; i < 500; ++i) {
      const bool watchFans = i % 8 == 0;  // dear
      const Fans fans = watchFans ? fansOf(mesh) : Fans();
      const Step step = editor.step();
      SCOPED_TRACE(testing::Message() << "seed " << seed << ", step " << i << ", operation " << step.op);
      ASSERT_TRUE(isValid(mesh));
      const std::uint64_t before = std::exchange(print, fingerprint(mesh));
      ASSERT_TRUE(step.result || print == before) << "refused but changed";
      ASSERT_TRUE(!watchFans || fansFollow(fans, fansOf(mesh)));
      ASSERT_EQ(again.step().result, step.result);
      ++tally[step.op][step.result != 0];
    }
    EXPECT_EQ(fingerprint(again.mesh), print);
  }
  for (std::size_t op = 0; op < kOps; ++op) {
    EXPECT_GT(tally[op][1], 200) << "operation " << op << " hardly ever done";
    EXPECT_TRUE(op == kVertex || tally[op][0] > 50) << "operation " << op << " hardly ever refused";
  }
}

// What the refusals of swapping, deleting and contracting are for. The mesh is driven down to the smallest
// that its genus allows, over and over.
TEST(TopoMesh, RandomEditsKeepASimplicialSurfaceOne) {
  const TopoSoup starts[] = {topoIcosahedron(), topoTorus(4, 4), topoGrid(3, 3)};
  for (unsigned seed = 0; seed < 6; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    TopoMesh mesh;
    buildTopo(mesh, starts[seed % 3]);
    const int euler = countsOf(mesh).euler();
    std::mt19937 random(seed);
    std::size_t smallest = 1000;
    for (int i = 0; i < 3000; ++i) {
      const auto edges = listFrom(mesh.firstEdge());
      const TopoMeshEdge e = edges[random() % edges.size()], twin = e.twin();
      const auto op = random() % (i % 200 < 60 ? 5 : 3);
      if (op == 0) mesh.swapEdge(e);
      if (op == 1) mesh.contractEdge(e, random() % 2 ? e.start() : e.end());
      if (op == 2 && mesh.numFaces() > 1) mesh.deleteVertex(e.start());
      if (op == 3) mesh.subdivideFace(e.face(), e.face().centroid());
      if (op == 4) {
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
