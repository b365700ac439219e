#include "seams.h"

#include <vector>

#include "mesh_verb.h"

namespace tool {

using nlohmann::ordered_json;
using qvGeom::CompactMesh;

namespace {

// Splits the vertices at which boundaries meet: what is recorded of a boundary passes each vertex once, so
// that the others there would be cut short.
void splitMeetings(CompactMesh& mesh) {
  qvGeom::SimpleMeshCache cache;
  const auto adjTris = cache.getAdjTris(mesh);
  qvGeom::MeshManifoldResult manifold;
  meshManifold(mesh, *adjTris, manifold);
  if (manifold.badEdges.empty()) meshMakeManifold(mesh, *adjTris, manifold);
}

}  // namespace

Stitched stitchMesh(CompactMesh& mesh, const SeamPlan& plan, Console& console) {
  console.progress().setCaption("stitching");
  // What is left of the surroundings of a boundary comes back without them.
  if (mesh.getUVs()) console.warn("the texture coordinates are left out");
  mesh.deleteUVs();
  Stitched result;
  result.before = shapeOf(mesh, console);
  CompactMesh split = mesh;
  splitMeetings(split);
  qvGeom::SimpleMeshCache cache;
  const auto adjTris = cache.getAdjTris(split);
  const auto loops = cache.getBoundaries(split);
  const std::vector<int> chosen = plan.boundaries.numbers(loops->size());
  result.done = meshStitch(split, adjTris, loops, qv::vector<int>(chosen.begin(), chosen.end()),
                           plan.distance, plan.seam);
  console.throwIfInterrupted();
  if (result.done) {
    mesh.swap(split);
    refreshNormals(mesh);
  }
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
                        {"boundaryLength", shape.boundaryLength},
                        {"pieces", shape.pieces},
                        {"vertices", shape.vertices}};
  };
  return {{"stitched", done}, {"before", asJson(before)}, {"after", asJson(after)}};
}

}  // namespace tool
