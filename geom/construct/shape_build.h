#pragma once

#include <cstdint>

#include "geom/model/keel/vectors.h"
#include "geom/model/trellis/compact_mesh.h"

namespace qvGeom::shape {

// What the shapes share. A shape is built in a mesh of its own, which takes the place of the caller's once it
// is complete and all its numbers are finite: nothing old can then remain, and a refusal, like lack of
// memory, leaves the caller's mesh as it was.

/// The most vertices or triangles of a shape: three floats or indices each are still counted by an int.
inline constexpr std::int64_t kMaxElements = INT32_MAX / 3;

enum Arrays : unsigned { kPositions = 0, kNormals = 1, kUVs = 2 };

/// An empty mesh with these counts and arrays, in storage of the kind that `target` uses.
class Draft {
 public:
  Draft(const CompactMesh& target, int vertices, int triangles, unsigned arrays);

  CompactMesh& mesh() { return mesh_; }
  /// Exchanges the contents with the target's, unless some number is not finite.
  /// @return whether it did
  bool replace(CompactMesh& target);

 private:
  CompactMesh mesh_;
};

/// Gives all vertices the same normal. The array must be there.
void setNormals(CompactMesh& mesh, const qvLinear::Vector& normal);

/// The triangles (q, q + 1, q + 2) and (q + 3, q + 2, q + 1) of a quadrilateral.
void setQuad(MeshTriangle* two, int q);

/// Coordinates of a plane-aligned shape.
struct AxisFrame {
  explicit AxisFrame(int normalAxis) : axis(normalAxis), u((axis + 1) % 3), v((axis + 2) % 3) {}
  static bool isAxis(int axis) { return axis >= 0 && axis <= 2; }

  MeshVertex at(double pu, double pv, double height) const {
    qvLinear::Point p;
    p[axis] = height;
    p[u] = pu;
    p[v] = pv;
    MeshVertex vertex;
    vertex.set(p.data());
    return vertex;
  }

  int axis;
  int u;
  int v;
};

}  // namespace qvGeom::shape
