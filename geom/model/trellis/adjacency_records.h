#pragma once

#include <memory>

#include "geom/model/keel/export.h"
#include "geom/model/keel/reference.h"
#include "geom/model/trellis/array_of_sets.h"

namespace qvGeom {

/// For each vertex the triangles that use it, in increasing order, once per corner.
/// Describes the mesh as it was when built.
class QVGEOM_API MeshAdjTris : public qv::ReferenceCount {
 public:
  MeshAdjTris() = default;
  /// Takes the sets over, one per vertex; the argument is left empty.
  explicit MeshAdjTris(ArrayOfSets& sets) { sets_.swap(sets); }
  ~MeshAdjTris() override;
  void swap(MeshAdjTris& other) noexcept { sets_.swap(other.sets_); }

  int getNumVertices() const { return sets_.getNumSets(); }
  int numTris(int v) const { return sets_.getSetSize(v); }
  int const* triIndices(int v) const { return sets_.getSet(v); }
  int* triIndices(int v) { return sets_.getSet(v); }
  /// Writes the three vertex indices of each triangle of v, in list order, three ints a triangle.
  /// @param triangles the mesh's raw triangle array
  void copyTriangles(int v, int* out, int const* triangles) const;

 private:
  ArrayOfSets sets_;
};

/// For each vertex the distinct vertices that share a triangle with it, in order of discovery.
/// At offsets[v] of the data stand the number of neighbours of v and then the neighbours.
class QVGEOM_API MeshAdjVertices : public qv::ReferenceCount {
 public:
  MeshAdjVertices() = default;
  /// Takes over both arrays, which come from `new int[]`.
  MeshAdjVertices(int numVertices, int maxValence, int* offsets, int* data);
  ~MeshAdjVertices() override;
  void swap(MeshAdjVertices& other) noexcept;

  int getNumVertices() const { return numVertices_; }
  int numAdjVertices(int v) const { return data_[offsets_[v]]; }
  int const* vertexIndices(int v) const { return &data_[offsets_[v] + 1]; }
  /// The largest number of neighbours; 0 without vertices.
  int maxValence() const { return maxValence_; }

 private:
  int numVertices_ = 0;
  int maxValence_ = 0;
  std::unique_ptr<int[]> offsets_;
  std::unique_ptr<int[]> data_;
};

/// Boundary loops: the vertices of all loops one after another, and where each loop starts.
class QVGEOM_API MeshBoundaries : public qv::ReferenceCount {
 public:
  MeshBoundaries() = default;
  /// @param lengths  [loops], summing up to the number of vertices
  /// @param vertices the loops' vertices, loop after loop
  MeshBoundaries(const Array<int>& lengths, const Array<int>& vertices);
  ~MeshBoundaries() override;
  void swap(MeshBoundaries& other) noexcept;

  /// Number of loops.
  int size() const { return starts_.empty() ? 0 : starts_.size() - 1; }
  int getLength(int loop) const { return starts_[loop + 1] - starts_[loop]; }
  int const* getStart(int loop) const { return vertices_.begin() + starts_[loop]; }
  int const* getEnd(int loop) const { return vertices_.begin() + starts_[loop + 1]; }

 private:
  Array<int> starts_;  // one more than there are loops: loops are walked in any order
  Array<int> vertices_;
};

}  // namespace qvGeom
