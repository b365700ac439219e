#pragma once

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/trellis/adjacency_records.h"
#include "geom/model/trellis/compact_mesh.h"

namespace qvGeom {

// All assume triangle indices in range and run on the calling thread. Finding may be done from several
// threads on one mesh, removing by one thread while nobody reads.

/// Triangles that a mesh is better off without, by number.
struct QVGEOM_API MeshDuplicateTrisResult {
  qv::vector<int> duplicates;         ///< of triangles with the same three vertices, all but the first
  qv::vector<int> repeatedIndices;    ///< two corners are one vertex
  qv::vector<int> coincidentCorners;  ///< two corners are different vertices at exactly the same place

  /// Whether there is any.
  explicit operator bool() const {
    return !duplicates.empty() || !repeatedIndices.empty() || !coincidentCorners.empty();
  }
  /// Replaces `bad` by the triangles of all lists, each once, ascending.
  void getBadTriangles(CompactMesh const& mesh, qv::vector<int>& bad) const;
};

/// Finds duplicate and degenerate triangles. One may be both. Degenerate ones are listed ascending,
/// duplicates by their three vertices, smallest first. Prints the counts and seconds. O(V + T) where no
/// vertex has very many triangles. @return whether there is any
QVGEOM_API bool meshDuplicateTris(CompactMesh const& mesh, MeshDuplicateTrisResult& result);

/// Deletes the listed triangles, and the vertices that only they used. Prints the counts and seconds; sends
/// one notice. Nothing happens, and nothing is printed, without any. @param adjTris of this mesh
QVGEOM_API void meshRemoveDuplicateTris(CompactMesh& mesh, MeshAdjTris const& adjTris,
                                        MeshDuplicateTrisResult const& result);
/// The same for those that the mesh has.
QVGEOM_API void meshRemoveDuplicateTris(CompactMesh& mesh, MeshAdjTris const& adjTris);

}  // namespace qvGeom
