#pragma once

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/keel/progress.h"
#include "geom/model/trellis/adjacency_records.h"
#include "geom/model/trellis/compact_mesh.h"

namespace qvGeom {

/// How far a hole's patch is worked out; each includes those before. Any other value counts as the last.
enum HoleQuality {
  HoleQualityTriangulate = 0,  ///< triangles between the vertices of the loop
  HoleQualityRefine = 1,       ///< new vertices, as dense as those around the hole; edges relaxed
  HoleQualityFair = 2,         ///< the new vertices moved to where the surface bends evenly
};

/// Closes boundary loops of a mesh with new triangles (contract to be written).
QVGEOM_API int meshHoleFill(CompactMesh& mesh, const MeshAdjTris& adjTris, const MeshAdjVertices& adjVertices,
                            const MeshBoundaries& boundaries, const qv::list<int>& holes, HoleQuality quality,
                            qvUtil::Progress& progress);

}  // namespace qvGeom
