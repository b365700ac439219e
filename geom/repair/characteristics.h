#pragma once

#include <memory>

#include "geom/model/keel/export.h"
#include "geom/model/keel/reference.h"
#include "geom/model/trellis/bit_vector.h"
#include "geom/model/trellis/compact_mesh.h"
#include "geom/repair/dihedral_angles.h"
#include "geom/repair/duplicates.h"
#include "geom/repair/manifold.h"
#include "geom/topology/mesh_cache.h"

namespace qvGeom {

/// Tests the quality of a mesh, each test once, and remembers what was found until `reset`. It does not
/// listen to the mesh: whoever changes that resets. The mesh must outlive it. One thread at a time.
class QVGEOM_API MeshCharacteristics : public qv::ReferenceCount {
 public:
  /// Bits that name the tests.
  enum Test : int {
    GoodTriangles = 1,      ///< no duplicate or degenerate triangle
    Manifold = 2,           ///< no bad edge, no bad vertex
    Oriented = 4,           ///< neighbours are wound alike
    NonIntersecting = 8,    ///< no crossing with itself
    GoodAngles = 16,        ///< no edge folded to the minimum good angle or below
    TopoGoodTriangles = 32  ///< no duplicate triangle, and none that repeats a vertex
  };
  static constexpr int AllTests = 63;

  /// Takes derived records from a cache of its own.
  explicit MeshCharacteristics(CompactMesh const& mesh);
  MeshCharacteristics(const MeshCharacteristics&) = delete;
  MeshCharacteristics& operator=(const MeshCharacteristics&) = delete;
  ~MeshCharacteristics() override;

  /// Runs those of the tests that were not yet. @return the bits among them that pass
  int check(int tests);
  bool checkGoodTriangles() { return check(GoodTriangles) != 0; }
  bool checkManifold() { return check(Manifold) != 0; }
  bool checkOriented() { return check(Oriented) != 0; }
  bool checkNonIntersecting() { return check(NonIntersecting) != 0; }
  /// @param degrees minimum good angle; 15 until it is given. Another one than last time is tested anew
  bool checkGoodAngles(double degrees);
  bool checkTopoGoodTriangles() { return check(TopoGoodTriangles) != 0; }

  /// Forgets these tests and what they found. What GoodTriangles and TopoGoodTriangles found is one result:
  /// it goes with either, while the other one still counts as performed, and as passed if it did.
  void reset(int tests);

  /// Finds the crossings of the mesh with itself, whether or not that was tested. @return whether there are
  /// none
  bool computeIntersection();

  /// From now on takes records from the caller's cache, which must outlive this.
  void setCache(MeshCache& cache);
  MeshCache& getCache() { return *cache_; }

  int getTestsPerformed() const { return testsPerformed_; }
  int getTestsPassed() const { return testsPassed_; }

  /// What a test found; null before it was performed and after a reset.
  MeshManifoldResult const* getManifoldResult() const { return manifold_.get(); }
  MeshDuplicateTrisResult const* getDuplicateTrisResult() const { return duplicates_.get(); }
  MeshDihedralAnglesResult const* getGoodAnglesResult() const { return angles_.get(); }
  /// One bit per triangle when there are crossings, else none.
  BitVector const& getIntersectingTriangles() const { return intersecting_; }

  /// Counts of what was found; 0 before the test.
  int getNumNonManifoldVertices() const;
  int getNumNonManifoldEdges() const;
  int getNumBadTriangles();
  /// Two for each folded edge.
  int getNumFoldedTriangles() const;

 private:
  void testManifold();
  void testOriented();
  void testTriangles();
  void testAngles();
  void perform(int test, bool passes);

  CompactMesh const* mesh_;
  MeshCache* cache_;
  std::unique_ptr<MeshCache> ownedCache_;
  int testsPassed_ = 0;
  int testsPerformed_ = 0;
  double angleTested_ = 15;
  double minGoodAngle_ = 15;
  std::unique_ptr<MeshManifoldResult> manifold_;
  std::unique_ptr<MeshDuplicateTrisResult> duplicates_;
  std::unique_ptr<MeshDihedralAnglesResult> angles_;
  BitVector intersecting_;
  int numBadTriangles_ = -1;  // -1: not counted
};

}  // namespace qvGeom
