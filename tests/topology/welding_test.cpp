#include "geom/topology/welding.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <gtest/gtest.h>
#include <numeric>
#include <random>

#include "tests/support/mesh_checks.h"

namespace qvGeom {
namespace {

using Flags = MeshModification::Flag;
using testing::ElementsAre;

// Everything welding touches, bit for bit: a NaN equals itself, and the two zeros differ.
Ints contentsOf(const CompactMesh& mesh) {
  Ints all = indicesOf(mesh);
  for (const Floats& values : {positionsOf(mesh), normalsOf(mesh), uvsOf(mesh)})
    for (const float x : values) all.push_back(std::bit_cast<int>(x));
  return all;
}

// Welds a mesh, keeping the notices, each with the mesh as it was then, and the messages.
struct Welded {
  explicit Welded(CompactMesh& mesh) {
    qvRTB::SignalBase client;
    mesh.changeSignal().connect(client, [&](EntityModification& m) {
      const auto& change = dynamic_cast<MeshModification&>(m);
      MeshRemap* maps = change.getRemap();
      EXPECT_TRUE(maps && maps->vertices == &remap && !maps->triangles);
      EXPECT_EQ(change.getType(), MeshModification::TopologyModified);
      flags.push_back(change.flags());
      seen = contentsOf(mesh);
    });
    qvUtil::Progress progress;
    meshCompact(mesh, progress, remap);
    EXPECT_EQ(progress.fraction(), 1);
    EXPECT_EQ(remap.getRangeSize(), mesh.getNumVertices());
    EXPECT_TRUE(flags.empty() || (flags.size() == 1 && seen == contentsOf(mesh))) << "one notice, at the end";
    for (int i = 0; i < remap.getDomainSize(); ++i) map.push_back(remap(i));
  }
  DebugLog log;
  Remap remap;
  Ints map, seen;
  std::vector<unsigned> flags;
};

Ints identity(int n) {
  Ints map(static_cast<std::size_t>(n));
  std::iota(map.begin(), map.end(), 0);
  return map;
}

bool normalsDecide(const CompactMesh& mesh) { return mesh.getNormals() && !mesh.getNormalsComputed(); }

// What the map makes of a mesh: of merged vertices the last one's values stay.
CompactMesh moved(const CompactMesh& mesh, const Ints& map) {
  CompactMesh result = mesh;
  for (int v = 0; v < mesh.getNumVertices(); ++v) {
    result.getVertices()[map[v]] = mesh.getVertices()[v];
    if (normalsDecide(mesh)) result.getNormals()[map[v]] = mesh.getNormals()[v];
    if (mesh.getUVs()) result.getUVs()[map[v]] = mesh.getUVs()[v];
  }
  for (int t = 0; t < mesh.getNumTriangles(); ++t)
    for (int& v : result.getTriangles()[t].v) v = map[v];
  result.resizeVertexArray(*std::max_element(map.begin(), map.end()) + 1);
  return result;
}

// The values that vertices are told apart by, in the order of comparing.
using Key = std::array<float, 8>;
std::vector<Key> keysOf(const CompactMesh& mesh) {
  std::vector<Key> keys(static_cast<std::size_t>(mesh.getNumVertices()), Key{});
  for (std::size_t v = 0; v < keys.size(); ++v) {
    std::copy_n(mesh.getVerticesRaw() + 3 * v, 3, keys[v].begin());
    if (!normalsDecide(mesh)) continue;
    std::copy_n(mesh.getNormalsRaw() + 3 * v, 3, keys[v].begin() + 3);
    if (mesh.getUVs()) std::copy_n(mesh.getUVsRaw() + 2 * v, 2, keys[v].begin() + 6);
  }
  return keys;
}

Ints expectedMap(const std::vector<Key>& keys) {
  Ints order = identity(static_cast<int>(keys.size())), map(keys.size());
  std::stable_sort(order.begin(), order.end(), [&](int a, int b) { return keys[a] < keys[b]; });
  int count = 0;
  for (std::size_t i = 0; i < order.size(); ++i)
    map[order[i]] = i > 0 && keys[order[i]] == keys[order[i - 1]] ? count - 1 : count++;
  return count < static_cast<int>(keys.size()) ? map : identity(count);
}

// Values out of a short list, so that every depth of the comparison decides somewhere; eight seeds go through
// all sets of arrays.
CompactMesh tiedSoup(unsigned seed, int n, bool nan) {
  std::mt19937 random(seed);
  const Floats values{0.0f,  -0.0f,  1,       -1,     1.5f,  -1.5f,  kInf,
                      -kInf, 1e-45f, -1e-45f, 1e-38f, 3e38f, -3e38f, nan ? kNan : 2.0f};
  const auto fill = [&](float* p, int count, std::size_t choices) {
    for (int i = 0; i < count; ++i) p[i] = values[values.size() - 1 - random() % choices];
  };
  CompactMesh mesh = shapes::soup(n, n / 2, random);
  fill(mesh.getVerticesRaw(), 3 * n, 1 + seed % values.size());
  if (seed % 7 == 3)  // few x, many y
    for (int v = 0; v < n; ++v) mesh.getVertices()[v].y = static_cast<float>(random());
  if (seed % 2 == 0) {
    mesh.allocNormalArray();
    fill(mesh.getNormalsRaw(), 3 * n, 2 + seed % 3);
  }
  if (seed / 2 % 2 == 1) {
    mesh.allocUVArray();
    fill(mesh.getUVsRaw(), 2 * n, values.size());
  }
  mesh.setNormalsComputed(seed / 4 % 2 == 0);
  return mesh;
}

void expectWelded(const CompactMesh& before, const Ints& map) {
  CompactMesh after = before;
  const Welded welded(after);
  ASSERT_TRUE(welded.map == map);
  EXPECT_TRUE(contentsOf(after) == contentsOf(moved(before, map)));
  if (after.getNumVertices() == before.getNumVertices()) return;
  EXPECT_THAT(welded.flags, ElementsAre(Flags::TriangleNormalsValid |
                                        (normalsDecide(before) ? Flags::NormalsModified : 0u) |
                                        (before.getUVs() ? Flags::UVsModified : 0u)));
}

TEST(Weld, AgreesWithASortByComparison) {
  for (unsigned seed = 0; seed < 64; ++seed) {
    SCOPED_TRACE(seed);
    const CompactMesh before = tiedSoup(seed, 1 + static_cast<int>(seed * seed % 7919), false);
    expectWelded(before, expectedMap(keysOf(before)));
  }
}

// Large enough to be split; the keys of seed 14 differ in the last columns only, those of 31 tie in long
// runs.
TEST(Weld, IsTheSameForEveryNumberOfThreads) {
  for (const unsigned seed : {6u, 14u, 31u}) {
    SCOPED_TRACE(seed);
    const CompactMesh before = tiedSoup(seed, 100'001, false);
    const Ints map = expectedMap(keysOf(before));
    forThreadCounts([&] { expectWelded(before, map); });
  }
}

// There is no order to speak of then. Still some equal vertices merge, nothing else does, and threads do not
// show.
TEST(Weld, MergesEqualVerticesOnlyAmongNaN) {
  int merged = 0;
  for (unsigned seed = 0; seed < 30; ++seed) {
    SCOPED_TRACE(seed);
    const CompactMesh before = tiedSoup(seed, 2 + static_cast<int>(seed * 29), true);
    CompactMesh after = before;
    const Ints map = Welded(after).map;
    forThreadCounts([&] { expectWelded(before, map); });
    const std::vector<Key> keys = keysOf(before);
    for (std::size_t v = 0; v < keys.size(); ++v)
      for (std::size_t w = 0; w < v; ++w) {
        if (map[v] != map[w]) continue;
        ASSERT_EQ(keys[v], keys[w]);
        ++merged;
      }
  }
  EXPECT_GT(merged, 100);
}

CompactMesh twoEqualOfThree() { return shapes::make({{1, 0, 0}, {0, 0, 0}, {1, 0, 0}}, {{0, 1, 2}}); }

TEST(Weld, MapsEverythingThatNamesVertices) {
  enum : int { kStrips = 1, kFans = 2, kLines = 4, kLineStrips = 8 };
  for (int has = 0; has < 16; ++has) {
    SCOPED_TRACE(has);
    CompactMesh mesh = twoEqualOfThree();
    mesh.allocNormalArray();
    mesh.allocSTArray();
    mesh.getSelectedVertices().resize(3);
    mesh.getTriangles()[0][1] = 7;  // names no vertex
    if (has & kStrips) mesh.resizeTriStripArrays(1, 3);
    if (has & kFans) mesh.resizeTriFanArrays(1, 3);
    if (has & kLineStrips) mesh.resizeLineStripArrays(1, 3);
    for (int* p : {mesh.getTriStripPoints(), mesh.getTriFanPoints(), mesh.getLineStripPoints()})
      if (p) std::iota(p, p + 3, 0);
    if (has & kLines) mesh.resizeLineArray(2);
    if (has & kLines) mesh.getLines()[1] = {{2, 1}};
    const Welded welded(mesh);
    EXPECT_THAT(welded.flags, ElementsAre(Flags::TriangleNormalsValid | Flags::NormalsModified |
                                          (has & (kStrips | kFans) ? Flags::StripsAndFansModified : 0u) |
                                          (has & kLines ? Flags::LinesModified : 0u) |
                                          (has & kLineStrips ? Flags::LineStripsModified : 0u)));
    for (int* p : {mesh.getTriStripPoints(), mesh.getTriFanPoints(), mesh.getLineStripPoints()})
      EXPECT_EQ(intsOf(p, 3), p ? (Ints{1, 0, 1}) : Ints());
    EXPECT_TRUE(!(has & kLines) || intsOf(mesh.getLines()[0].v, 4) == (Ints{1, 1, 1, 0}));
    EXPECT_EQ(indicesOf(mesh), (Ints{1, -1, 1}));
    EXPECT_EQ(mesh.getAttributes(PointMesh::STsName)->getNumElements(), 2);
    EXPECT_EQ(mesh.getSelectedVertices().size(), 3u);
    std::string stages;
    for (const std::string& line : welded.log.messages) stages += line.substr(0, line.find(':')) + ';';
    EXPECT_EQ(stages,
              "meshCompact;  sorted vertices;  initialized remap;  remapped vertices;  remapped normals;"
              "  remapped triangles;");
  }
}

TEST(Weld, LeavesAMeshWithoutEqualVerticesAloneAndOneThatIsCancelled) {
  for (CompactMesh mesh : {CompactMesh(), shapes::make({{3, 0, 0}, {1, 0, 0}}, {{0, 1, 1}}),
                           shapes::make({{1, 1, kNan}, {1, 1, kNan}}, {{0, 1, 0}})}) {
    const Ints before = contentsOf(mesh);
    const Welded welded(mesh);
    EXPECT_EQ(welded.map, identity(mesh.getNumVertices()));
    EXPECT_EQ(contentsOf(mesh), before);
    EXPECT_TRUE(welded.flags.empty());
    EXPECT_EQ(welded.log.messages.size(), 3u);
  }
  for (const double when : {0.0, 0.8, 1.0}) {  // beforehand, after sorting, after numbering
    CompactMesh mesh = twoEqualOfThree();
    qvUtil::Progress* target = nullptr;
    qvUtil::Progress progress([&](double fraction, char const*) {
      if (fraction >= when) target->cancel();
    });
    target = &progress;
    if (when == 0) progress.cancel();
    Remap remap;
    meshCompact(mesh, progress, remap);
    EXPECT_EQ(contentsOf(mesh), contentsOf(twoEqualOfThree()));
    EXPECT_TRUE(remap.getRangeSize() == 3 && remap(0) == 0 && remap(1) == 1 && remap(2) == 2);
  }
}

TEST(Weld, ComparatorsDeferInOrder) {
  const float vertices[] = {0, 0, 0, -0.0f, 0, 0, 0, 0, 1, kNan, 0, 0};
  const float normals[] = {1, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 0};
  const float uvs[] = {0, 2, 0, 1, 0, 0, 0, 2};
  const VertexNormalUVCompare byAll{vertices, normals, uvs};
  EXPECT_GT(byAll(0, 1), 0);
  EXPECT_LT((VertexNormalCompare{vertices, normals}(0, 2)), 0) << "the position decides first";
  EXPECT_EQ(VertexCompare{vertices}(0, 3), 0) << "a NaN equals everything, in its own coordinate";
  EXPECT_GT(VertexCompare{vertices}(2, 3), 0);
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j) EXPECT_EQ(byAll(i, j), -byAll(j, i));
}

}  // namespace
}  // namespace qvGeom
