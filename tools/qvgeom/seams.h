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
  MeshShape before, after;

  /// Whether boundaries found another side. Their number may grow all the same: where they part, edges are
  /// split.
  bool anyJoined() const { return done && after.boundaryLength < before.boundaryLength; }
  std::string asText() const;
  nlohmann::ordered_json asJson() const;
};

/// Joins boundaries that run side by side, without the texture coordinates. Vertices at which boundaries meet
/// are split before; the loops are those of then. Where it cannot be done, the rest of the mesh stays as it
/// is. Normals are computed anew where there are some. Throws failures: usage, for a number that no loop has;
/// interrupted.
Stitched stitchMesh(qvGeom::CompactMesh& mesh, const SeamPlan& plan, Console& console);

}  // namespace tool
