#pragma once

#include "geom/model/keel/export.h"
#include "geom/model/trellis/compact_mesh.h"
#include "geom/model/trellis/octree.h"
#include "geom/model/trellis/octree_records.h"

namespace qvGeom {

/// Lists for every leaf voxel of an octree over the mesh's vertices the triangles that touch it, ascending.
///
/// A triangle whose box fits into the voxel that the triangle before it was filed in last is filed there
/// alone; any other goes into every voxel that it touches by the exact test, which takes touching for
/// overlap. Meshes whose neighbours in space are near in number profit. A triangle outside the octree is
/// filed nowhere.
///
/// Runs on the shared thread pool, one contiguous range of triangles per thread; only triangles that lie on
/// the border of a voxel may be filed in more or fewer of its neighbours when the number of threads changes.
/// Prints the counts and rates. With an octree without voxels nothing happens, and nothing is printed. O(T
/// depth).
/// @param result replaced at the end; belongs to this octree from then on
QVGEOM_API void computeOctreeTris(CompactMesh const& mesh, Octree const& octree, OctreeTris& result);

/// The same for the mesh's line segments.
QVGEOM_API void meshOctreeLines(CompactMesh const& mesh, Octree const& octree, OctreeLines& result);

}  // namespace qvGeom
