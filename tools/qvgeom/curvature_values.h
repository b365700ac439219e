#pragma once

#include "geom/qvGeom.h"

#include "console.h"

namespace tool {

/// Curvature at each vertex, finite for a finite mesh. A mesh without normals is given some: they decide the
/// sign. Throws a failure: interrupted.
qv::vector<float> vertexCurvatures(qvGeom::CompactMesh& mesh, qvGeom::MeshCurvature kind, Console& console);

}  // namespace tool
