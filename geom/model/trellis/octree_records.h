#pragma once

#include "geom/model/keel/export.h"
#include "geom/model/keel/reference.h"
#include "geom/model/trellis/array_of_sets.h"

namespace qvGeom {

/// For each voxel of an octree the triangles that touch it, ascending. Belongs to the octree that it was
/// built on.
class QVGEOM_API OctreeTris : public qv::ReferenceCount {
 public:
  OctreeTris() = default;
  /// Takes the sets over, one per voxel; the argument is left empty.
  explicit OctreeTris(ArrayOfSets& sets) { sets_.swap(sets); }
  ~OctreeTris() override;
  void swap(OctreeTris& other) noexcept { sets_.swap(other.sets_); }

  int getNumVoxels() const { return sets_.getNumSets(); }
  int numTris(int voxel) const { return sets_.getSetSize(voxel); }
  int const* firstTri(int voxel) const { return sets_.getSet(voxel); }
  const ArrayOfSets& getData() const { return sets_; }

 private:
  ArrayOfSets sets_;
};

/// The same for line segments.
class QVGEOM_API OctreeLines : public qv::ReferenceCount {
 public:
  OctreeLines() = default;
  explicit OctreeLines(ArrayOfSets& sets) { sets_.swap(sets); }
  ~OctreeLines() override;
  void swap(OctreeLines& other) noexcept { sets_.swap(other.sets_); }

  int getNumVoxels() const { return sets_.getNumSets(); }
  int numLines(int voxel) const { return sets_.getSetSize(voxel); }
  int const* firstLine(int voxel) const { return sets_.getSet(voxel); }
  const ArrayOfSets& getData() const { return sets_; }

 private:
  ArrayOfSets sets_;
};

}  // namespace qvGeom
