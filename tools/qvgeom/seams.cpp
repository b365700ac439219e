#include "seams.h"

#include <vector>

#include "mesh_verb.h"

namespace tool {

using nlohmann::ordered_json;
using qvGeom::CompactMesh;

namespace {

// What counts as a shorter boundary, as a share of the distance: the least that is joined is as long as that,
// and sums of lengths differ by their order.
constexpr double kShorter = 1e-3;

// Splits the vertices at which boundaries meet: what is recorded of a boundary passes each vertex once, so
// that the others there would be cut short. Not while edges have more than two triangles, which would have to
// be deleted before.
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
    // The surroundings of boundaries come back without them.
    if (mesh.getUVs()) console.warn("the texture coordinates are left out");
    split.deleteUVs();
    refreshNormals(split);
    mesh.swap(split);
  }
  result.after = shapeOf(mesh, console);
  // Not by the number of edges, of which splits make more where boundaries part.
  result.anyJoined = result.before.boundaryLength - result.after.boundaryLength > kShorter * plan.distance;
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
