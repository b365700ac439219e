#pragma once

#include "geom/model/keel/export.h"
#include "geom/model/trellis/array.h"
#include "geom/model/trellis/bit_vector.h"
#include "geom/model/trellis/elements.h"
#include "geom/model/trellis/point_mesh.h"

namespace qvGeom {

/// Triangle mesh in flat arrays.
///
/// Algorithms assume that every index lies in [0, getNumVertices()); whoever fills the arrays sees to that. A
/// triangle may repeat a vertex and may occur more than once. Queries may read one mesh from several threads;
/// changes are made by one thread, while nobody reads.
class QVGEOM_API CompactMesh : public PointMesh {
 public:
  CompactMesh();
  /// Copies n vertices and those of the optional arrays that are not null. Colours are the host's: the
  /// library passes null and keeps none.
  CompactMesh(int numVertices, MeshVertex const* vertices, MeshNormal const* normals, MeshUV const* uvs,
              MeshColour const* colours);
  CompactMesh(const CompactMesh& other);
  CompactMesh& operator=(const CompactMesh& other);
  ~CompactMesh() override;
  void swap(CompactMesh& other) noexcept;

  void sendMessage(EntityModification& message) const override;
  void resendMessage(EntityModification& message) const override;
  void setArrayAllocator(qv::Reference<ArrayAllocator> allocator) override;
  void modified(MeshModification& modification) override;
  std::size_t getSizeInBytes() const override;

  int getNumTriangles() const { return triangles_.size(); }
  /// The triangles as records, or as ints [T][3]; null without triangles.
  MeshTriangle* getTriangles() { return triangles_.data(); }
  MeshTriangle const* getTriangles() const { return triangles_.data(); }
  int* getTrianglesRaw() { return reinterpret_cast<int*>(triangles_.data()); }
  int const* getTrianglesRaw() const { return reinterpret_cast<int const*>(triangles_.data()); }
  /// Keeps the leading triangles; new ones are (0, 0, 0). Triangle normals follow, the selection does not.
  void resizeTriangleArray(int n);
  /// Replaces the triangles by n read from 3 n indices.
  void copyTriangles(int n, int const* indices);

  /// Triangle normals as records, or as floats [T][3]; null when there is no such array (or no triangle).
  MeshNormal* getTriangleNormals() { return triangleNormals_.data(); }
  MeshNormal const* getTriangleNormals() const { return triangleNormals_.data(); }
  float* getTriangleNormalsRaw() { return reinterpret_cast<float*>(triangleNormals_.data()); }
  float const* getTriangleNormalsRaw() const {
    return reinterpret_cast<float const*>(triangleNormals_.data());
  }
  /// Adds a zero normal per triangle; an array that exists is kept.
  void allocTriangleNormalArray();
  void deleteTriangleNormals();

  /// Strips and fans: a length for each, and the vertex indices of all, one after another.
  int getNumTriStrips() const { return triStrips_.lengths.size(); }
  int getNumTriStripPoints() const { return triStrips_.points.size(); }
  int* getTriStripLengths() { return triStrips_.lengths.data(); }
  int const* getTriStripLengths() const { return triStrips_.lengths.data(); }
  int* getTriStripPoints() { return triStrips_.points.data(); }
  int const* getTriStripPoints() const { return triStrips_.points.data(); }
  void resizeTriStripArrays(int strips, int points) { triStrips_.resize(strips, points); }

  int getNumTriFans() const { return triFans_.lengths.size(); }
  int getNumTriFanPoints() const { return triFans_.points.size(); }
  int* getTriFanLengths() { return triFans_.lengths.data(); }
  int const* getTriFanLengths() const { return triFans_.lengths.data(); }
  int* getTriFanPoints() { return triFans_.points.data(); }
  int const* getTriFanPoints() const { return triFans_.points.data(); }
  void resizeTriFanArrays(int fans, int points) { triFans_.resize(fans, points); }

  int getNumLines() const { return lines_.size(); }
  MeshLine* getLines() { return lines_.data(); }
  MeshLine const* getLines() const { return lines_.data(); }
  void resizeLineArray(int n) { lines_.resize(n); }

  int getNumLineStrips() const { return lineStrips_.lengths.size(); }
  int getNumLineStripPoints() const { return lineStrips_.points.size(); }
  int* getLineStripLengths() { return lineStrips_.lengths.data(); }
  int const* getLineStripLengths() const { return lineStrips_.lengths.data(); }
  int* getLineStripPoints() { return lineStrips_.points.data(); }
  int const* getLineStripPoints() const { return lineStrips_.points.data(); }
  /// Where each strip starts among the points. Computed from the lengths by this call, so take the pointer
  /// after the lengths were written and before workers start.
  int const* getLineStripStarts() const;
  void resizeLineStripArrays(int strips, int points) { lineStrips_.resize(strips, points); }

  /// Faces of more than three corners, whose change notices can name: a mesh has none, always 0.
  int getNumPolys() const { return 0; }

  BitVector& getSelectedTriangles() { return selectedTriangles_; }
  BitVector const& getSelectedTriangles() const { return selectedTriangles_; }
  /// Empties both selections: their sizes are 0 afterwards.
  void clearSelection();

 private:
  struct Runs {
    Array<int> lengths;
    Array<int> points;

    void resize(int runs, int total) {
      lengths.resize(runs);
      points.resize(total);
    }
    void swap(Runs& other) noexcept {
      lengths.swap(other.lengths);
      points.swap(other.points);
    }
  };

  Array<MeshTriangle> triangles_;
  Array<MeshNormal> triangleNormals_;
  bool hasTriangleNormals_ = false;
  Runs triStrips_;
  Runs triFans_;
  Array<MeshLine> lines_;
  Runs lineStrips_;
  mutable Array<int> lineStripStarts_;
  BitVector selectedTriangles_;
};

}  // namespace qvGeom
