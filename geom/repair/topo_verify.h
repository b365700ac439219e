#pragma once

#include "geom/model/keel/export.h"
#include "geom/model/trellis/compact_mesh.h"
#include "geom/model/trellis/topo_mesh.h"

namespace qvGeom {

/// Verifies properties of a half-edge mesh that its own invariants leave open: non-manifold meshes are legal
/// there.
class QVGEOM_API MeshVerify {
 public:
  /// Which properties to verify.
  struct Info {
    bool cornerAngles = false;    ///< no corner with an angle of zero, or with a side of zero length
    bool distinctEdges = false;   ///< no two half-edges with the same start and end
    bool faceCycles = false;      ///< the half-edges of a face know it, and its vertices are distinct
    bool sharedVertices = false;  ///< from each face of a vertex all others can be reached around the vertex
    bool vertexFans = false;      ///< walking around a vertex meets every half-edge that starts there
  };

  /// @return whether all hold. O(E log E).
  bool operator()(TopoMesh& mesh, Info const& info);
};

/// Does nothing: flat arrays have no links that could be wrong.
QVGEOM_API void meshVerify(CompactMesh const& mesh);

}  // namespace qvGeom
