#include "geom/topology/twins.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <tuple>

#include "geom/model/keel/channels.h"
#include "geom/model/keel/containers.h"
#include "geom/model/keel/stop_watch.h"

namespace qvGeom {

namespace {

// An unpaired half-edge with the numbers that it is sorted by: comparing handles would go through memory.
struct OpenEdge {
  std::uint64_t start;
  std::uint64_t end;
  TopoMeshEdge edge;

  auto key() const { return std::tuple(start, end, edge.number()); }
};

qv::vector<OpenEdge> openEdges(const TopoMesh& mesh) {
  qv::vector<OpenEdge> open;
  open.reserve(3 * static_cast<std::size_t>(mesh.numFaces()));
  for (TopoMeshFace face = mesh.firstFace(); face; face = face.nextInMesh()) {
    TopoMeshEdge e = face.firstEdge();
    for (int i = 0; i < 3; ++i, e = e.next())
      if (!e.twin()) open.push_back({e.start().number(), e.end().number(), e});
  }
  return open;
}

}  // namespace

void meshTwin(TopoMesh& mesh) {
  qvOS::StopWatch watch;
  watch.start();
  qv::vector<OpenEdge> open = openEdges(mesh);
  std::sort(open.begin(), open.end(), [](const OpenEdge& a, const OpenEdge& b) { return a.key() < b.key(); });
  // Edges with the same ends stand together, the oldest first. The groups of either direction are paired off
  // in step: searching anew for each edge would be quadratic where thousands of faces share one edge.
  for (std::size_t begin = 0; begin < open.size();) {
    const OpenEdge group = open[begin];
    std::size_t end = begin + 1;
    while (end < open.size() && open[end].start == group.start && open[end].end == group.end) ++end;
    if (group.start < group.end) {
      auto other = std::lower_bound(
          open.begin() + static_cast<std::ptrdiff_t>(end), open.end(), std::tuple(group.end, group.start),
          [](const OpenEdge& e, const auto& ends) { return std::tuple(e.start, e.end) < ends; });
      for (std::size_t i = begin; i < end && other != open.end(); ++i, ++other)
        if (!mesh.setTwins(open[i].edge, other->edge)) break;  // the other group has ended
    }
    begin = end;
  }
  debugChannel().print("meshTwin: %d vertices: %f s\n", mesh.numVertices(), watch.stop());
}

}  // namespace qvGeom
