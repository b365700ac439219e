#include "seams.h"

#include <vector>

#include "mesh_verb.h"

namespace tool {

using nlohmann::ordered_json;

Stitched stitchMesh(qvGeom::CompactMesh& mesh, const SeamPlan& plan, Console& console) {
  console.progress().setCaption("stitching");
  qvGeom::SimpleMeshCache cache;
  const auto adjTris = cache.getAdjTris(mesh);
  const auto loops = cache.getBoundaries(mesh);
  const std::vector<int> chosen = plan.boundaries.numbers(loops->size());
  Stitched result;
  result.before = shapeOf(mesh, console);
  result.done = meshStitch(mesh, adjTris, loops, qv::vector<int>(chosen.begin(), chosen.end()), plan.distance,
                           plan.seam);
  console.throwIfInterrupted();
  refreshNormals(mesh);
  result.after = shapeOf(mesh, console);
  return result;
}

std::string Stitched::asText() const {
  const auto fromTo = [](const char* what, std::int64_t from, std::int64_t to) {
    return std::string(what) + " " + std::to_string(from) + " -> " + std::to_string(to);
  };
  return fromTo("boundary loops", before.boundaryLoops, after.boundaryLoops) + ", " +
         fromTo("boundary edges", before.boundaryEdges, after.boundaryEdges) + ", " +
         fromTo("pieces", before.pieces, after.pieces);
}

ordered_json Stitched::asJson() const {
  const auto asJson = [](const MeshShape& shape) {
    return ordered_json{{"boundaryLoops", shape.boundaryLoops},
                        {"boundaryEdges", shape.boundaryEdges},
                        {"pieces", shape.pieces},
                        {"vertices", shape.vertices}};
  };
  return {{"stitched", done}, {"before", asJson(before)}, {"after", asJson(after)}};
}

}  // namespace tool
