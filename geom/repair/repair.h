#pragma once

#include "geom/model/keel/export.h"
#include "geom/model/keel/reference.h"
#include "geom/model/trellis/bit_vector.h"
#include "geom/model/trellis/compact_mesh.h"
#include "geom/repair/characteristics.h"

namespace qvGeom {

/// Repairs a mesh step by step, each step one kind of defect, and after each all tests are made anew. In this
/// order: duplicate and degenerate triangles are deleted; non-manifold edges lose surplus triangles and
/// non-manifold vertices are split; windings are made consistent; the first piece that is one-sided is
/// deleted, and only that one: for more, begin again with a new object; triangles that cross others, and
/// those at folded edges, are deleted, if this is asked for. Holes stay where triangles went.
///
/// Every change of the mesh sends its own notice. The mesh must outlive the object. One thread at a time.
class QVGEOM_API MeshRepair {
 public:
  explicit MeshRepair(CompactMesh& mesh);
  ~MeshRepair();

  /// Handed as it is to MeshCharacteristics::checkGoodAngles, which takes degrees; pi / 2 at first.
  void setMinGoodAngle(double angle) { minGoodAngle_ = angle; }
  /// Whether folded edges, and crossings of the mesh with itself, are defects. Both off at first. Turning one
  /// off resets its test.
  void checkGoodAngles(bool check);
  void checkSelfIntersection(bool check);

  qv::Reference<MeshCharacteristics> getCharacteristics() const { return characteristics_; }
  /// @param characteristics of this mesh, not null
  void setCharacteristics(qv::Reference<MeshCharacteristics> characteristics);

  /// Whether some test fails; they are made in the order of the steps, up to the first failure.
  bool needsRepair();
  /// The same, but that a mesh which could not be oriented can only be repaired where deleting the one-sided
  /// piece leaves something.
  bool canRepair();
  /// Makes the first step that applies. @return whether one did
  bool repairOnce();
  /// Makes steps as long as one applies; always ends.
  /// @param clean null, or receives whether no test fails then
  /// @return whether any step was made
  bool repairAll(bool* clean);

  /// After the winding was tried: whether the mesh cannot be wound consistently.
  bool hasMobiusStrip();
  /// Whether the one-sided piece is known, and not all there is.
  bool isMobiusStripRemovable() const;
  /// Selects its triangles and their vertices in the mesh, and nothing else.
  void selectMobiusStrip();

 private:
  bool repair();
  bool repairManifold();
  bool repairOrientation();
  void deleteTriangles(BitVector const& triangles);
  void selectTriangles(BitVector const& triangles);
  bool passes(int test) { return characteristics_->check(test) != 0; }

  CompactMesh& mesh_;
  qv::Reference<MeshCharacteristics> characteristics_;
  bool checkGoodAngles_ = false;
  double minGoodAngle_ = 1.5707963267948966;
  bool checkSelfIntersection_ = false;
  bool orientationTried_ = false;  // for good: what is left one-sided then is a strip
  BitVector strip_;
};

}  // namespace qvGeom
