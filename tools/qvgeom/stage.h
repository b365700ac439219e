#pragma once

#include <vector>

#include "geom/qvGeom.h"

namespace tool {

/// Half the diagonal of a staged mesh's box.
inline constexpr double kStageRadius = 1000;

/// Where a staged mesh's elements come from: numbers in the mesh as it was read.
struct StageSources {
  std::vector<int> vertices;   ///< [V] of the staged mesh
  std::vector<int> triangles;  ///< [T] likewise, ascending
};

/// Makes of a mesh what pictures show of it: moved to the origin and scaled to a fixed size, for which the
/// bounds of the ray tests are fit. Triangles without a finite area are left out, then vertices that no
/// triangle uses. Of the channels none is taken over.
/// @param staged receives the positions and the triangles
StageSources stageMesh(const qvGeom::CompactMesh& mesh, qvGeom::CompactMesh& staged);

bool isFinite(const qvLinear::Point& p);

/// The normal of a triangle's plane, as long as twice the triangle's area.
qvLinear::Vector areaNormal(const qvGeom::CompactMesh& mesh, const qvGeom::MeshTriangle& t);

}  // namespace tool
