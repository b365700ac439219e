#include "geom/topology/mesh_cache.h"

#include <gtest/gtest.h>

#include "geom/topology/welding.h"

#include "tests/support/mesh_checks.h"
#include "tests/support/shapes.h"

namespace qvGeom {
namespace {

int connections(const CompactMesh& mesh) {
  return mesh.changeSignal().numConnections() + mesh.destructionSignal().numConnections();
}

TEST(MeshCache, BuildsOnceFromWhatIsStored) {
  const CompactMesh mesh = shapes::grid(20, 20);
  SimpleMeshCache cache;
  DebugLog log;
  const auto boundaries = cache.getBoundaries(mesh);
  EXPECT_EQ(boundaries->getLength(0), 80);
  EXPECT_EQ(log.messages.size(), 3u) << "with the adjacency";
  EXPECT_TRUE(cache.getBoundaries(mesh) == boundaries && cache.getAdjVertices(mesh)->getNumVertices() == 441);
  EXPECT_EQ(cache.getAdjTris(mesh), cache.getAdjTris(mesh));
  EXPECT_EQ(log.messages.size(), 3u);

  const auto octree = cache.getOctree(mesh, 4);
  EXPECT_TRUE(cache.getOctree(mesh, -1) == octree &&
              cache.getOctreeTris(mesh)->getNumVoxels() == octree->getNumVoxels());
  EXPECT_EQ(cache.getOctreeLines(mesh)->getNumVoxels(), octree->getNumVoxels());
  EXPECT_EQ(cache.getOctreeTris(mesh), cache.getOctreeTris(mesh));
  cache.clear();
  EXPECT_EQ(connections(mesh), 0);
  const int sixteen = cache.getOctreeTris(mesh)->getNumVoxels();
  EXPECT_LT(sixteen, octree->getNumVoxels());
  EXPECT_EQ(cache.getOctree(mesh, 4)->getNumVoxels(), sixteen) << "the stored one, whatever is asked for";
  cache.clear();
  EXPECT_EQ(cache.getOctree(mesh, 0)->getNumVoxels(), sixteen);
}

TEST(MeshCache, ForgetsAtEveryChangeAndLeavesNoConnections) {
  CompactMesh a = shapes::grid(5, 5), b = shapes::torus(6, 5);
  auto cache = std::make_unique<SimpleMeshCache>();
  const auto ofB = cache->getAdjTris(b);
  qv::Reference<MeshAdjTris> last;
  for (int round = 0; round < 100; ++round) {
    const auto adjTris = cache->getAdjTris(a);
    ASSERT_EQ(cache->getAdjTris(a), adjTris);
    ASSERT_FALSE(last == adjTris);
    ASSERT_EQ(adjTris->getNumVertices(), a.getNumVertices());
    ASSERT_TRUE(!last || last->getNumVertices() == a.getNumVertices() - 1) << "still as the mesh was";
    last = adjTris;
    (void)cache->getOctreeTris(a);
    ASSERT_EQ(connections(a), 2);
    a.resizeVertexArray(a.getNumVertices() + 1);
    MeshModification modification(
        &a, round % 2 ? MeshModification::AttributesModified : MeshModification::TopologyModified, nullptr);
    a.modified(modification);
    ASSERT_EQ(connections(a), 0);
  }
  EXPECT_EQ(cache->getAdjTris(b), ofB) << "another mesh";
  EXPECT_EQ(connections(b), 2);

  // Welding sends its own notice; a mesh may die first, and the cache before the last.
  const auto before = cache->getAdjTris(a);
  qvUtil::Progress progress;
  meshCompact(a, progress);
  EXPECT_NE(cache->getAdjTris(a)->getNumVertices(), before->getNumVertices());
  {
    const CompactMesh shortLived = shapes::grid(3, 3);
    (void)cache->getBoundaries(shortLived);
  }
  cache.reset();
  EXPECT_TRUE(connections(a) == 0 && connections(b) == 0 && ofB->getNumVertices() == 30);
}

}  // namespace
}  // namespace qvGeom
