#include "geom/topology/twins.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "geom/model/keel/channels.h"
#include "geom/model/keel/containers.h"
#include "geom/model/keel/stop_watch.h"

namespace qvGeom {

namespace {

// A half-edge without twin, as seen from the end with the lower number. Both directions of an edge sort
// together, the oldest first in each.
struct OpenEdge {
  std::uint32_t upper;  // number of the other end: comparing handles would go through memory
  bool runsDown;
  TopoMeshEdge edge;

  friend bool operator<(const OpenEdge& a, const OpenEdge& b) {
    if (a.upper != b.upper) return a.upper < b.upper;
    return a.runsDown != b.runsDown ? b.runsDown : a.edge < b.edge;
  }
};

// Calls `take` with the number of the lower end and the edge.
template <typename Take>
void forEachOpenEdge(const TopoMesh& mesh, const Take& take) {
  for (TopoMeshFace face = mesh.firstFace(); face; face = face.nextInMesh()) {
    TopoMeshEdge e = face.firstEdge();
    for (int i = 0; i < 3; ++i, e = e.next()) {
      if (e.twin()) continue;
      const auto a = static_cast<std::uint32_t>(e.start().number());
      const auto b = static_cast<std::uint32_t>(e.end().number());
      take(std::min(a, b), OpenEdge{std::max(a, b), b < a, e});
    }
  }
}

// The open edges at each lower end, one end after another.
struct OpenEdges {
  qv::vector<std::size_t> ends;  // of the run of each lower end, by its number
  qv::vector<OpenEdge> edges;
};

// By counting: to compare them all would cost more than all else that is done to extract a region.
OpenEdges collectOpenEdges(const TopoMesh& mesh) {
  OpenEdges open;
  forEachOpenEdge(mesh, [&](std::size_t v, const OpenEdge&) {
    if (v >= open.ends.size()) open.ends.resize(v + 1);
    ++open.ends[v];
  });
  std::size_t total = 0;
  for (std::size_t& end : open.ends) total += std::exchange(end, total);  // where the run begins, for now
  open.edges.resize(total);
  forEachOpenEdge(mesh, [&](std::size_t v, const OpenEdge& e) { open.edges[open.ends[v]++] = e; });
  return open;
}

}  // namespace

void meshTwin(TopoMesh& mesh) {
  qvOS::StopWatch watch;
  watch.start();
  OpenEdges open = collectOpenEdges(mesh);
  const auto place = [&](std::size_t i) { return open.edges.begin() + static_cast<std::ptrdiff_t>(i); };
  std::size_t begin = 0;
  for (const std::size_t end : open.ends) {
    std::sort(place(begin), place(end));
    // The two directions between the same ends are paired off in step.
    while (begin < end) {
      const std::uint32_t upper = open.edges[begin].upper;
      const auto isUp = [=](const OpenEdge& e) { return e.upper == upper && !e.runsDown; };
      auto up = place(begin);
      auto down = std::find_if_not(up, place(end), isUp);
      const auto firstDown = down;
      for (; down != place(end) && down->upper == upper; ++down)
        if (up != firstDown) mesh.setTwins(up++->edge, down->edge);
      begin = static_cast<std::size_t>(down - open.edges.begin());
    }
  }
  debugChannel().print("meshTwin: %d vertices: %f s\n", mesh.numVertices(), watch.stop());
}

}  // namespace qvGeom
