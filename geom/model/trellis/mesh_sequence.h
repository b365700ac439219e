#pragma once

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/keel/reference.h"
#include "geom/model/trellis/array.h"
#include "geom/model/trellis/mesh_coord.h"

namespace qvGeom {

/// Some vertices and triangles of a mesh, by number.
class QVGEOM_API MeshSubset : public qv::ReferenceCount {
 public:
  MeshSubset(int numVertices, int const* vertices, int numTriangles, int const* triangles);
  ~MeshSubset() override;

  const Array<int>& getVertices() const { return vertices_; }
  const Array<int>& getTriangles() const { return triangles_; }

 private:
  Array<int> vertices_;
  Array<int> triangles_;
};

/// Lines on a mesh: runs of points, each run one chain.
class QVGEOM_API MeshSequence {
 public:
  /// Adds a run of n points; an empty run is kept as one.
  void addRun(int n, MeshCoord const* coords);

  int getNumRuns() const { return starts_.size(); }
  int getNumCoords() const { return static_cast<int>(coords_.size()); }
  /// Where each run starts among the points; the last one ends with them.
  const Array<int>& getStarts() const { return starts_; }
  int getRunLength(int run) const {
    return (run + 1 < starts_.size() ? starts_[run + 1] : getNumCoords()) - starts_[run];
  }
  MeshCoord const* getRun(int run) const { return coords_.data() + starts_[run]; }

  /// Forgets how the points are cut into runs: they are one run afterwards, or none without points.
  void clearStartsAndOffsets();

 private:
  Array<int> starts_;
  qv::vector<MeshCoord> coords_;
};

}  // namespace qvGeom
