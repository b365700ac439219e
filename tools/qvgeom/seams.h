#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "geom/qvGeom.h"

#include "console.h"
#include "loop_choice.h"
#include "mesh_shape.h"

namespace tool {

struct SeamPlan {
  static constexpr double kSeam = 0.1;  ///< of an edge: nearer vertices become one, others split edges

  double distance = 0;  ///< between the sides of a gap, model units
  double seam = kSeam;
  LoopChoice boundaries{"--boundaries", "boundary loop"};
};

/// What stitching did to a mesh.
struct Stitched {
  bool done = false;
  bool anyJoined = false;
  MeshShape before, after;

  std::string asText() const;
  nlohmann::ordered_json asJson() const;
};

/// Joins boundaries that run side by side, or leaves the mesh as it is where that cannot be done. Vertices at
/// which boundaries meet are split before; the loops are those of then. Texture coordinates are left out,
/// with a warning; normals are computed anew where there are some. Throws failures: usage, for a number that
/// no loop has; interrupted.
Stitched stitchMesh(qvGeom::CompactMesh& mesh, const SeamPlan& plan, Console& console);

}  // namespace tool
