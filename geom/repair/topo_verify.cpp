#include "geom/repair/topo_verify.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

#include "geom/model/keel/containers.h"
#include "geom/model/keel/tolerances.h"

namespace qvGeom {

using qvLinear::Vector;

namespace {

// Whether `holds` does for every half-edge of every face.
template <typename Test>
bool forAllEdges(const TopoMesh& mesh, const Test& holds) {
  for (TopoMeshFace face = mesh.firstFace(); face; face = face.nextInMesh()) {
    TopoMeshEdge edge = face.firstEdge();
    for (int i = 0; i < face.numVertices(); ++i, edge = edge.next())
      if (!holds(face, edge)) return false;
  }
  return true;
}

bool hasAngle(TopoMeshEdge edge) {
  Vector out = edge.end().point() - edge.start().point();
  Vector back = edge.prev().start().point() - edge.start().point();
  if (!out.normalize() || !back.normalize()) return false;
  return std::fabs(dot(out, back) - 1) >= qvLinear::epsilonTol;
}

bool allDistinct(qv::vector<std::pair<std::uint64_t, std::uint64_t>>& pairs) {
  std::sort(pairs.begin(), pairs.end());
  return std::adjacent_find(pairs.begin(), pairs.end()) == pairs.end();
}

bool edgesDistinct(const TopoMesh& mesh) {
  qv::vector<std::pair<std::uint64_t, std::uint64_t>> ends;
  for (TopoMeshEdge e = mesh.firstEdge(); e; e = e.nextInMesh())
    ends.emplace_back(e.start().number(), e.end().number());
  return allDistinct(ends);
}

bool cyclesSound(const TopoMesh& mesh) {
  if (!forAllEdges(mesh, [](TopoMeshFace face, TopoMeshEdge edge) { return edge.face() == face; }))
    return false;
  qv::vector<std::pair<std::uint64_t, std::uint64_t>> corners;
  forAllEdges(mesh, [&](TopoMeshFace face, TopoMeshEdge edge) {
    corners.emplace_back(face.number(), edge.start().number());
    return true;
  });
  return allDistinct(corners);
}

// By vertex, the faces that have it; each entry one corner.
qv::vector<std::pair<TopoMeshVertex, TopoMeshFace>> cornersByVertex(const TopoMesh& mesh) {
  qv::vector<std::pair<TopoMeshVertex, TopoMeshFace>> corners;
  forAllEdges(mesh, [&](TopoMeshFace face, TopoMeshEdge edge) {
    corners.emplace_back(edge.start(), face);
    return true;
  });
  std::sort(corners.begin(), corners.end());
  return corners;
}

// Whether `holds(fan, corners)` does for every vertex with faces, given the faces that walking around it
// meets and those that it has, both ascending.
template <typename Test>
bool forAllVertices(const TopoMesh& mesh, const Test& holds) {
  const auto corners = cornersByVertex(mesh);
  for (auto first = corners.begin(); first != corners.end();) {
    const auto last =
        std::find_if(first, corners.end(), [&](const auto& c) { return !(c.first == first->first); });
    qv::vector<TopoMeshFace> fan, faces;
    for (TopoMeshEdgeVertexIterator it(first->first); it.valid(); it.next()) fan.push_back(it.get().face());
    for (auto c = first; c != last; ++c) faces.push_back(c->second);
    std::sort(fan.begin(), fan.end());
    if (!holds(fan, faces)) return false;
    first = last;
  }
  return true;
}

}  // namespace

bool MeshVerify::operator()(TopoMesh& mesh, Info const& info) {
  if (info.cornerAngles && !forAllEdges(mesh, [](TopoMeshFace, TopoMeshEdge edge) { return hasAngle(edge); }))
    return false;
  if (info.distinctEdges && !edgesDistinct(mesh)) return false;
  if (info.faceCycles && !cyclesSound(mesh)) return false;
  using Faces = qv::vector<TopoMeshFace>;
  if (info.sharedVertices && !forAllVertices(mesh, [](const Faces& fan, const Faces& faces) {
        const auto isMet = [&](TopoMeshFace f) { return std::binary_search(fan.begin(), fan.end(), f); };
        return faces.front() == faces.back() || std::all_of(faces.begin(), faces.end(), isMet);
      }))
    return false;
  return !info.vertexFans || forAllVertices(mesh, [](const Faces& fan, const Faces& faces) {
    return fan.size() == faces.size();
  });
}

void meshVerify(CompactMesh const& /*mesh*/) {}

}  // namespace qvGeom
