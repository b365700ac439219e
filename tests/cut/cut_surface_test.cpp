#include "geom/cut/cut_surface.h"

#include <algorithm>
#include <array>
#include <gtest/gtest.h>
#include <map>
#include <numeric>
#include <random>
#include <set>
#include <utility>
#include <vector>

#include "geom/repair/manifold.h"
#include "geom/repair/orientation.h"
#include "geom/topology/components.h"

#include "tests/support/mesh_checks.h"
#include "tests/support/shapes.h"

namespace qvGeom {
namespace {

// A plate with so many square holes through it, as the faces of its cells; closed, of that genus.
CompactMesh plateWithHoles(int genus) {
  const auto isSolid = [=](int x, int y, int z) {
    const bool inside = x >= 0 && x < 4 * genus + 2 && y >= 0 && y < 6 && z >= 0 && z < 2;
    return inside && !(x % 4 >= 2 && y / 2 == 1);
  };
  std::map<std::array<float, 3>, int> numbers;
  shapes::Tris tris;
  for (int x = 0; x < 4 * genus + 2; ++x)
    for (int y = 0; y < 6; ++y)
      for (int z = 0; z < 2; ++z)
        for (int face = 0; isSolid(x, y, z) && face < 6; ++face) {
          const int axis = face / 2, side = face % 2;
          std::array<int, 3> beyond = {x, y, z};
          beyond[axis] += side ? 1 : -1;
          if (isSolid(beyond[0], beyond[1], beyond[2])) continue;
          int corners[4];
          for (int k = 0; k < 4; ++k) {
            int at[3] = {x, y, z};
            at[axis] += side;
            at[(axis + 1) % 3] += side ? k == 1 || k == 2 : k >= 2;
            at[(axis + 2) % 3] += side ? k >= 2 : k == 1 || k == 2;
            const std::array<float, 3> point = {float(at[0]), float(at[1]), float(at[2])};
            corners[k] = numbers.emplace(point, static_cast<int>(numbers.size())).first->second;
          }
          tris.push_back({corners[0], corners[1], corners[2]});
          tris.push_back({corners[0], corners[2], corners[3]});
        }
  shapes::Points points(numbers.size());
  for (const auto& [point, number] : numbers) points[static_cast<std::size_t>(number)] = point;
  return shapes::make(points, tris);
}

// Numbers everything anew, after so many vertices were taken out with their triangles; the holes do not
// touch.
CompactMesh shuffled(const CompactMesh& mesh, int holes, std::mt19937& random) {
  std::vector<int> place(static_cast<std::size_t>(mesh.getNumVertices()));
  std::iota(place.begin(), place.end(), 0);
  std::shuffle(place.begin(), place.end(), random);
  std::set<int> gone, near;
  MeshAdjTris around;
  meshAdjTris(mesh, around);
  for (const int v : place) {
    std::set<int> star;
    for (const int t : trisOf(around, v)) star.insert(mesh.getTriangles()[t].v, mesh.getTriangles()[t].v + 3);
    if (std::any_of(star.begin(), star.end(), [&](int w) { return near.count(w) != 0; })) continue;
    if (holes-- <= 0) break;
    near.merge(star);
    gone.insert(v);
  }
  shapes::Points points(place.size());
  for (int v = 0; v < mesh.getNumVertices(); ++v) {
    const MeshVertex& p = mesh.getVertices()[v];
    points[place[v]] = {p.x, p.y, p.z};
  }
  shapes::Tris tris;
  for (int t = 0; t < mesh.getNumTriangles(); ++t) {
    const MeshTriangle& c = mesh.getTriangles()[t];
    const int k = static_cast<int>(random() % 3);
    if (gone.count(c[0]) + gone.count(c[1]) + gone.count(c[2]) == 0)
      tris.push_back({place[c[k]], place[c[(k + 1) % 3]], place[c[(k + 2) % 3]]});
  }
  std::shuffle(tris.begin(), tris.end(), random);
  return shapes::make(points, tris);
}

// Corners stay where they are, and new vertices are in the order of those that they come from.
void expectOnlySplit(const CompactMesh& before, const CompactMesh& after) {
  expectSound(after);
  ASSERT_EQ(after.getNumTriangles(), before.getNumTriangles());
  std::map<int, int> sources;
  const int n = before.getNumVertices();
  for (int i = 0; i < 3 * before.getNumTriangles(); ++i) {
    const int from = before.getTrianglesRaw()[i], to = after.getTrianglesRaw()[i];
    EXPECT_EQ(to < n ? to : sources.emplace(to, from).first->second, from);
  }
  EXPECT_EQ(static_cast<int>(sources.size()), after.getNumVertices() - n);
  int last = 0;
  for (const auto& [to, from] : sources) {
    EXPECT_LE(std::exchange(last, from), from);
    EXPECT_EQ(floatsOf(after.getVerticesRaw() + 3 * to, 3), floatsOf(before.getVerticesRaw() + 3 * from, 3));
  }
}

TEST(MakeDisk, MakesADiscOfEverySurface) {
  for (unsigned seed = 0; seed < 60; ++seed) {
    std::mt19937 random(seed);
    const int genus = static_cast<int>(seed % 4), holes = static_cast<int>(seed / 4 % 4);
    SCOPED_TRACE(testing::Message() << "seed " << seed << " genus " << genus << " holes " << holes);
    const CompactMesh before = shuffled(plateWithHoles(genus), holes, random);
    CompactMesh mesh = before;
    mesh.allocUVArray();
    NoticeLog log(mesh);
    cutSurface::makeDisk(mesh);
    EXPECT_EQ(log.sent, (Notices{{MeshModification::TopologyModified, 0u}}));
    expectOnlySplit(before, mesh);
    const Adjacency disc(mesh);
    MeshManifoldResult manifold;
    meshManifold(mesh, disc.tris, manifold);
    EXPECT_TRUE(manifold.isClean() && meshOriented(mesh, disc.tris));
    EXPECT_EQ(meshComponents(mesh, disc.tris, nullptr), 1);
    // All triangles hang on a tree, but that those around the first vertex may close a ring.
    const std::vector<Ints> loops = loopsOf(disc.boundaries);
    ASSERT_EQ(loops.size(), 1u);
    const auto boundary = static_cast<int>(loops[0].size()), faces = mesh.getNumTriangles();
    const Adjacency whole(before);
    const int root = trisOf(whole.tris, 0).empty() ? before.getTriangles()[0][0] : 0;
    const bool isRing = trisOf(whole.tris, root).size() == neighboursOf(whole.vertices, root).size();
    EXPECT_EQ(boundary, isRing ? faces : faces + 2);
    const Ints corners = indicesOf(mesh);
    const auto used = static_cast<int>(std::set<int>(corners.begin(), corners.end()).size());
    EXPECT_EQ(used - (3 * faces + boundary) / 2 + faces, 1);
  }
}

TEST(MakeDisk, CutsOneEdgePairOfATetrahedron) {
  CompactMesh mesh = shapes::make({{0, 2, 1}, {0, 1, 3}, {0, 3, 2}, {1, 2, 3}, {4, 5, 6}, {4, 6, 5}});
  cutSurface::makeDisk(mesh);
  EXPECT_EQ(indicesOf(mesh), (Ints{0, 2, 1, 0, 1, 7, 0, 7, 2, 1, 2, 3, 4, 5, 6, 4, 6, 5}));
  CompactMesh behindUnused = shapes::make({{1, 3, 2}, {1, 2, 4}, {1, 4, 3}, {2, 3, 4}});
  cutSurface::makeDisk(behindUnused);
  EXPECT_EQ(indicesOf(behindUnused), (Ints{1, 3, 2, 1, 2, 5, 1, 5, 3, 2, 3, 4}));
}

TEST(MakeDisk, TakesAnySoupAndIsTheSameWithProgress) {
  for (unsigned seed = 0; seed < 300; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    const CompactMesh before =
        shapes::soup(3 + static_cast<int>(seed % 9), static_cast<int>(seed % 40), random);
    CompactMesh mesh = before, again = before;
    cutSurface::makeDisk(mesh);
    qvUtil::Progress progress;
    EXPECT_TRUE(cutSurface::makeDisk(again, progress));
    EXPECT_EQ(indicesOf(mesh), indicesOf(again));
    expectOnlySplit(before, mesh);
  }
}

TEST(MakeDisk, IsUntouchedWhenCancelled) {
  const CompactMesh before = shapes::torus(200, 200);
  for (int asks = 0;; ++asks) {
    CompactMesh mesh = before;
    NoticeLog log(mesh);
    CancelAfter progress(asks);
    const bool done = cutSurface::makeDisk(mesh, progress);
    EXPECT_EQ(log.sent.size(), done ? 1u : 0u);
    EXPECT_EQ(indicesOf(mesh) == indicesOf(before), !done);
    if (!done) continue;
    EXPECT_GT(asks, 8);
    break;
  }
}

}  // namespace
}  // namespace qvGeom
