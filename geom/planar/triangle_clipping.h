#pragma once

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/keel/matrices.h"
#include "geom/model/keel/vectors.h"
#include "geom/model/trellis/compact_mesh.h"
#include "geom/planar/clip_space.h"

namespace qvGeom::Clip {

/// Hands the visible parts of a mesh's triangles to a callback, or only tells whether there are any.
///
/// Settings and the callback stay until they are changed. Copies are independent of each other; a user
/// pointer is copied as it is. One thread at a time.
class QVGEOM_API TriangleAlgorithm {
 public:
  /// Receives a triangle in clip space that lies within the view. @return whether to go on
  using TriangleFunc = bool (*)(void* user, const qvLinear::HPoint& a, const qvLinear::HPoint& b,
                                const qvLinear::HPoint& c);

  /// Without a function `evaluateMesh` stops at the first visible triangle, or vertex: a vertex in view is
  /// taken for a visible triangle, whatever the other settings.
  void setTriangleFunc(TriangleFunc func, void* user);
  /// Whether triangles that are not selected in the mesh are passed over. Off at first.
  void setSelectedTrianglesOnly(bool selectedOnly);
  /// Which sides are passed over. None at first.
  void setCullFaces(bool cullFront, bool cullBack);
  /// Whether the front is the side from which corners run clockwise in x and y. Off at first.
  void setClockwiseFront(bool clockwise);

  /// Visits the triangles in their order. Each that is not culled is clipped against the view, and what is
  /// left goes to the callback as a fan about its first corner. An answer of false ends the visit.
  /// Sides are told in clip space, without division by w: a triangle that reaches behind the eye may be taken
  /// for its other side.
  /// @return whether anything is visible
  /// O(V + T). Memory for the projected vertices is kept.
  bool evaluateMesh(const CompactMesh& mesh, const qvLinear::ProjMatrixFlt& m);

  /// Of the current triangle, also after the visit; within the callback, of what it was given.
  int getTriangleNum() const { return triangle_; }
  bool isFrontFacing() const { return frontFacing_; }
  /// Texture coordinates of the three points of the current call of the callback; zero when the mesh has
  /// none.
  void getUVs(MeshUV& a, MeshUV& b, MeshUV& c) const;

 private:
  bool evaluateTriangle(int i, int j, int k);
  bool cullFace(const Vertex& a, const Vertex& b, const Vertex& c);

  qv::vector<Vertex> vertices_;
  TriangleFunc func_ = nullptr;
  void* user_ = nullptr;
  int mask_ = 15;
  MeshUV const* uvs_ = nullptr;  // of the mesh, while it is visited
  MeshUV cornerUVs_[3] = {};
  int triangle_ = -1;
  bool selectedOnly_ = false;
  bool clockwiseFront_ = false;
  bool cullFront_ = false;
  bool cullBack_ = false;
  bool frontFacing_ = false;
  bool continue_ = true;
};

}  // namespace qvGeom::Clip
