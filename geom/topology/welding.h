#pragma once

#include "geom/model/keel/export.h"
#include "geom/model/keel/progress.h"
#include "geom/model/trellis/compact_mesh.h"
#include "geom/model/trellis/remap.h"

namespace qvGeom {

// Three-way comparisons of the vertices i and j of raw arrays: negative when i orders first, zero when they
// are equal, positive otherwise. The first coordinate that differs decides; a pair of which one is not a
// number counts as equal, which makes this no strict weak order where such values occur.

/// By position: x, then y, then z.
struct QVGEOM_API VertexCompare {
  float const* vertices;  ///< [V][3]

  int operator()(int i, int j) const;
};

/// By position, then by normal.
struct QVGEOM_API VertexNormalCompare {
  float const* vertices;  ///< [V][3]
  float const* normals;   ///< [V][3]

  int operator()(int i, int j) const;
};

/// By position, then by normal, then by texture coordinates.
struct QVGEOM_API VertexNormalUVCompare {
  float const* vertices;  ///< [V][3]
  float const* normals;   ///< [V][3]
  float const* uvs;       ///< [V][2]

  int operator()(int i, int j) const;
};

/// Merges vertices that are exactly equal; there is no tolerance.
///
/// Supplied normals take part (`getNormalsComputed()` is false), and with them the texture coordinates; where
/// normals are absent or computed, positions alone decide, and vertices merge whose texture coordinates
/// differ. 0.0 equals -0.0; a vertex with a NaN in what takes part equals no other. Of the values of merged
/// vertices those of the highest old index stay.
///
/// When at least one pair merges, all vertices are put in lexicographic order (position, then normal, then
/// texture coordinates), also those that had no equal, and the indices of triangles, strips, fans, lines and
/// line strips follow; an index that names no vertex becomes -1. Triangles whose corners merge and vertices
/// that nothing uses stay. Vertices, taking-part normals and texture coordinates move; computed normals and
/// the other channels are cut to the new number of vertices as they stand, for their owner to make anew. The
/// selection stays. One notice is sent, after everything was written: topology modified, with the vertex map;
/// triangle normals valid; normals, texture coordinates, strips and fans, lines, and line strips modified as
/// far as they were.
///
/// Without an equal pair, with no vertices, and when cancelled, the mesh stays as it is, the map is the
/// identity, and no notice is sent. Cancelling is heard until the first change; running out of memory before
/// it (std::bad_alloc) leaves the mesh as it was, too.
///
/// Where a NaN takes part the order of the vertices is that of `qvUtil::smpSort` with the comparison above:
/// some order, the same in every run, in which not every equal pair need be found.
///
/// Runs on the shared thread pool, with the same result for every number of threads. O(V + T), or O(V log V)
/// comparisons where a NaN takes part; at most 32 V bytes of temporary memory. Prints its stages and their
/// seconds on the debug channel.
/// @param progress told of a sorting phase (0.8) and a mapping phase (0.2)
/// @param remap    receives the new index of every old vertex; its range is the number of different vertices
QVGEOM_API void meshCompact(CompactMesh& mesh, qvUtil::Progress& progress, Remap& remap);
/// The same where nobody wants the map.
QVGEOM_API void meshCompact(CompactMesh& mesh, qvUtil::Progress& progress);

}  // namespace qvGeom
