#include "hole_filling.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "mesh_shape.h"
#include "mesh_verb.h"

namespace tool {

using qvGeom::CompactMesh;
using qvGeom::MeshBoundaries;

void HolePlan::addQuality(CLI::App& app, const std::string& name, const std::vector<std::string>& more) {
  std::vector<std::string> known = {"triangulate", "refine", "fair"};
  known.insert(known.begin(), more.begin(), more.end());
  app.add_option(name, quality,
                 "what the patches are made of: as few triangles as can be, triangles as small\n"
                 "as those around, or these on an even surface")
      ->capture_default_str()
      ->check(CLI::IsMember(known));
}

void HolePlan::addMaxLength(CLI::App& app) {
  app.add_option("--max-length", maxLength, "holes with more edges stay open")
      ->capture_default_str()
      ->check(CLI::Range(3, 1000000));
}

qvGeom::HoleQuality HolePlan::hole() const {
  return quality == "triangulate" ? qvGeom::HoleQualityTriangulate
         : quality == "fair"      ? qvGeom::HoleQualityFair
                                  : qvGeom::HoleQualityRefine;
}

int Filling::numOpen() const {
  return static_cast<int>(
      std::count_if(holes.begin(), holes.end(), [](const Hole& hole) { return !hole.skipped.empty(); }));
}

nlohmann::ordered_json Filling::asJson() const {
  auto list = nlohmann::ordered_json::array();
  for (const Hole& hole : holes) {
    nlohmann::ordered_json entry{
        {"hole", hole.number}, {"edges", hole.edges}, {"filled", hole.skipped.empty()}, {"reason", nullptr}};
    if (!hole.skipped.empty()) entry["reason"] = hole.skipped;
    list.push_back(entry);
  }
  return {{"holes", list},
          {"filled", static_cast<int>(holes.size()) - numOpen()},
          {"open", numOpen()},
          {"verticesBefore", vertices[0]},
          {"verticesAfter", vertices[1]},
          {"trianglesBefore", triangles[0]},
          {"trianglesAfter", triangles[1]}};
}

namespace {

// Filling gives vertices new numbers and does not say which. But triangles stay where they are, at least one
// at each vertex of a hole, and those tell: by the positions of their corners, for which most need not even
// be searched, since what lies off the holes keeps its order.
class Renumbering {
 public:
  Renumbering(const CompactMesh& before, const CompactMesh& after) : before_(before), after_(after) {
    newNumbers_.assign(static_cast<std::size_t>(before.getNumVertices()), -1);
    match();
  }

  // -1 for a vertex that is not known to be there still.
  int newNumber(int v) const { return newNumbers_[v]; }

  void keepChannels(CompactMesh& mesh) const {
    for (int i = 0; i < before_.getNumAttributes(); ++i) {
      const qvGeom::MeshAttributes& from = *before_.getAttributes(i);
      qvGeom::MeshAttributes* to = mesh.getAttributes(from.getName());
      const int n = from.getNumComponents();
      for (int v = 0; to && v < before_.getNumVertices(); ++v)
        if (newNumber(v) >= 0)
          std::copy_n(from.asFloat() + std::ptrdiff_t{n} * v, n,
                      to->asFloat() + std::ptrdiff_t{n} * newNumber(v));
    }
  }

 private:
  using Key = std::array<float, 9>;

  // From the corner with the least position on, so that it does not matter where a triangle begins.
  static Key keyOf(const CompactMesh& mesh, int t, int& first) {
    const qvGeom::MeshTriangle& c = mesh.getTriangles()[t];
    const auto bits = [&](int k) { return mesh.getVerticesRaw() + 3 * std::ptrdiff_t{c[k % 3]}; };
    first = 0;
    for (int k = 1; k < 3; ++k)
      if (std::memcmp(bits(k), bits(first), 3 * sizeof(float)) < 0) first = k;
    Key key;
    for (int k = 0; k < 3; ++k) std::copy_n(bits(first + k), 3, key.begin() + 3 * k);
    return key;
  }
  static bool isLess(const Key& a, const Key& b) { return std::memcmp(&a, &b, sizeof a) < 0; }

  void match() {
    struct Left {
      Key key;
      int triangle, first;
    };
    std::vector<Left> left;
    int first = 0, next = 0;
    const int n = after_.getNumTriangles();
    Key expected{};
    int expectedFirst = 0;
    if (n > 0) expected = keyOf(after_, 0, expectedFirst);
    for (int t = 0; t < before_.getNumTriangles(); ++t) {
      const Key key = keyOf(before_, t, first);
      if (next == n || isLess(key, expected) || isLess(expected, key)) {
        left.push_back({key, t, first});
        continue;
      }
      join(t, first, next, expectedFirst);
      if (++next < n) expected = keyOf(after_, next, expectedFirst);
    }
    std::stable_sort(left.begin(), left.end(),
                     [](const Left& a, const Left& b) { return isLess(a.key, b.key); });
    for (; next < n; ++next) {
      const Key key = keyOf(after_, next, first);
      const auto found = std::lower_bound(left.begin(), left.end(), key,
                                          [](const Left& a, const Key& b) { return isLess(a.key, b); });
      if (found != left.end() && !isLess(key, found->key)) join(found->triangle, found->first, next, first);
    }
  }
  void join(int old, int oldFirst, int now, int nowFirst) {
    for (int k = 0; k < 3; ++k)
      newNumbers_[before_.getTriangles()[old][(oldFirst + k) % 3]] =
          after_.getTriangles()[now][(nowFirst + k) % 3];
  }

  const CompactMesh& before_;
  const CompactMesh& after_;
  std::vector<int> newNumbers_;
};

// A hole is open exactly if its edges are still boundary edges: filling takes all of them or none, but for
// those of an ear that went.
bool isOpen(const MeshBoundaries& loops, int hole, const Renumbering& numbers, const CompactMesh& mesh,
            const qvGeom::MeshAdjTris& adjTris) {
  int const* loop = loops.getStart(hole);
  const int n = loops.getLength(hole);
  for (int i = 0; i < n; ++i) {
    const int a = numbers.newNumber(loop[i]), b = numbers.newNumber(loop[(i + 1) % n]);
    if (a >= 0 && b >= 0 && qvGeom::Boundary::hasEdge(mesh, adjTris, a, b) &&
        !qvGeom::Boundary::hasEdge(mesh, adjTris, b, a))
      return true;
  }
  return false;
}

}  // namespace

Filling fillHoles(CompactMesh& mesh, const HolePlan& plan, double share, Console& console) {
  qvGeom::SimpleMeshCache cache;
  const auto adjTris = cache.getAdjTris(mesh);
  console.throwIfInterrupted();
  const auto adjVertices = cache.getAdjVertices(mesh);
  console.throwIfInterrupted();
  const auto loops = cache.getBoundaries(mesh);
  console.throwIfInterrupted();
  Filling filling;
  filling.vertices[0] = mesh.getNumVertices();
  filling.triangles[0] = mesh.getNumTriangles();
  qv::list<int> tried;
  for (const int i : plan.holes.numbers(loops->size())) {
    const int edges = loops->getLength(i);
    const std::string why = edges < 3 ? "its boundary is no loop"
                            : edges > plan.maxLength
                                ? "longer than " + std::to_string(plan.maxLength) + " edges"
                                : "";
    if (why.empty()) tried.push_back(i);
    filling.holes.push_back({i, edges, why});
  }
  const CompactMesh before = mesh;
  inPhase(console, share, "filling holes", [&](qvUtil::Progress& phase) {
    meshHoleFill(mesh, *adjTris, *adjVertices, *loops, tried, plan.hole(), phase);
  });
  const Renumbering numbers(before, mesh);
  console.throwIfInterrupted();
  const auto around = cache.getAdjTris(mesh);
  for (Filling::Hole& hole : filling.holes)
    if (hole.skipped.empty() && isOpen(*loops, hole.number, numbers, mesh, *around))
      hole.skipped = "its triangles would run into others";
  numbers.keepChannels(mesh);
  refreshNormals(mesh);
  filling.vertices[1] = mesh.getNumVertices();
  filling.triangles[1] = mesh.getNumTriangles();
  return filling;
}

void report(const Filling& filling, bool eachHole, Console& console) {
  for (const Filling::Hole& hole : filling.holes) {
    const std::string name =
        "hole " + std::to_string(hole.number) + " (" + counted(hole.edges, "edge") + "): ";
    if (!hole.skipped.empty()) {
      console.warn(name + "stays open, " + hole.skipped);
    } else if (eachHole) {
      console.note(name + "filled");
    }
  }
}

}  // namespace tool
