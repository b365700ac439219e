#include "geom/process/flatness.h"

#include <cmath>
#include <limits>

#include "geom/model/keel/channels.h"
#include "geom/model/keel/containers.h"
#include "geom/model/keel/lines.h"
#include "geom/model/keel/stop_watch.h"
#include "geom/planar/plane_fit.h"

namespace qvGeom {

namespace {

constexpr double kLargest = std::numeric_limits<double>::max();

double largestDistanceFromPlane(const qv::vector<qvLinear::Point>& points) {
  qvLinear::Plane plane;
  fit(static_cast<int>(points.size()), points.data(), plane);
  double largest = 0;
  for (const qvLinear::Point& p : points) {
    const double distance = std::fabs(plane.eval(p));
    if (!(distance <= kLargest)) return kLargest;
    if (distance > largest) largest = distance;
  }
  return largest;
}

}  // namespace

void meshFlatness(CompactMesh const& mesh, MeshAdjVertices const& adjVertices, double* flatness) {
  qvOS::StopWatch watch;
  watch.start();
  const int n = mesh.getNumVertices();
  MeshVertex const* vertices = mesh.getVertices();
  qv::vector<qvLinear::Point> points;
  for (int v = 0; v < n; ++v) {
    const int numNeighbours = adjVertices.numAdjVertices(v);
    if (numNeighbours < 3) {
      flatness[v] = kLargest;
      continue;
    }
    points.clear();
    int const* neighbours = adjVertices.vertexIndices(v);
    for (int i = 0; i < numNeighbours; ++i) points.push_back(vertices[neighbours[i]].asPoint());
    points.push_back(vertices[v].asPoint());
    flatness[v] = largestDistanceFromPlane(points);
  }
  debugChannel().print("MeshReduce: flatness computed in %f s\n", watch.stop());
}

}  // namespace qvGeom
