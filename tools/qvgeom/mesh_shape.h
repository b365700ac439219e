#pragma once

#include <cstdint>
#include <string>

#include "geom/qvGeom.h"

#include "console.h"

namespace tool {

/// What a mesh is to topology. Vertices that no triangle uses do not count.
struct MeshShape {
  int vertices = 0;
  int unusedVertices = 0;
  int pieces = 0;
  int boundaryLoops = 0;
  std::int64_t boundaryEdges = 0;  ///< along which one triangle runs, and none back
  double boundaryLength = 0;       ///< of those that are finite, model units
  std::int64_t euler = 0;          ///< vertices - edges + triangles

  /// Handles of a mesh in one piece that is manifold and oriented.
  std::int64_t genus() const { return (2 - boundaryLoops - euler) / 2; }
};

/// Throws a failure: interrupted.
MeshShape shapeOf(const qvGeom::CompactMesh& mesh, Console& console);

/// A count with its noun: "1 hole", "2 holes".
std::string counted(std::int64_t n, const std::string& one);

/// Removes the vertices that no triangle uses, and with them all channels.
/// @return how many; 0 leaves the mesh as it is
int dropUnusedVertices(qvGeom::CompactMesh& mesh);

}  // namespace tool
