#include "geom/repair/orientation.h"

#include <utility>

#include "geom/model/keel/containers.h"
#include "geom/repair/edge_triangles.h"

namespace qvGeom {

namespace {

// Looks at the edges that leave each vertex: two triangles with the same one run along it in the same
// direction.
bool isConsistentlyWound(CompactMesh const& mesh, MeshAdjTris const& adjTris) {
  struct Arrival {
    int from = -1;
    int triangle = -1;
  };
  qv::vector<Arrival> last(mesh.getNumVertices());  // the last edge that came to each vertex
  MeshTriangle const* triangles = mesh.getTriangles();
  for (int a = 0; a < mesh.getNumVertices(); ++a) {
    int const* tris = adjTris.triIndices(a);
    for (int k = adjTris.numTris(a); k > 0; --k, ++tris) {
      const MeshTriangle& t = triangles[*tris];
      for (int corner = 0; corner < 3; ++corner) {
        if (t[corner] != a) continue;
        Arrival& arrival = last[t[corner == 2 ? 0 : corner + 1]];
        // A triangle that repeats vertices may have an edge twice; that is no contradiction.
        if (arrival.from == a && arrival.triangle != *tris) return false;
        arrival = {a, *tris};
      }
    }
  }
  return true;
}

}  // namespace

MeshOrient::MeshOrient(CompactMesh& mesh, MeshAdjTris const& adjTris)
    : mesh_(mesh), adjTris_(adjTris), visited_(mesh.getNumTriangles()) {
  compute();
}

void MeshOrient::compute() {
  isOriented_ = computeOriented();
  if (isOriented_) isOrientable_ = true;
}

bool MeshOrient::computeOriented() const { return isConsistentlyWound(mesh_, adjTris_); }

void MeshOrient::orient() {
  if (isOriented_) return;
  bool changed = false;
  isOriented_ = computeOrientation(changed);
  if (isOriented_) isOrientable_ = true;
  if (!changed) return;
  MeshModification modification(&mesh_, MeshModification::TopologyModified, nullptr);
  modification.uvsValid();
  modification.stsValid();
  modification.coloursValid();
  mesh_.modified(modification);
}

bool MeshOrient::computeOrientation(bool& changed) {
  const int n = mesh_.getNumTriangles();
  visited_.resize(n);
  queue_.resizeForOverwrite(n);
  changed = false;
  for (int t = 0; t < n; ++t) {
    if (visited_.test(t) || search(changed, t)) continue;
    visited_.clearBits();
    search(changed, conflict_);
    return false;
  }
  return true;
}

// Breadth first, so that a contradiction is met as near to the seed as it can be.
bool MeshOrient::search(bool& changed, int seed) {
  MeshTriangle* triangles = mesh_.getTriangles();
  int* queue = queue_.begin();
  int tail = 0;
  visited_.setBit(seed);
  queue[tail++] = seed;
  for (int head = 0; head < tail; ++head) {
    const int t = queue[head];
    const auto meet = [&](int other, int sense) {
      if (other == t) return true;
      const bool visited = visited_.test(other);
      if (sense > 0 && visited) {
        conflict_ = other;
        return false;
      }
      if (visited) return true;
      if (sense > 0) {
        std::swap(triangles[other][1], triangles[other][2]);
        changed = true;
      }
      visited_.setBit(other);
      queue[tail++] = other;
      return true;
    };
    const MeshTriangle current = triangles[t];  // only unvisited ones are turned: it stays as it is
    for (int i = 0; i < 3; ++i)
      if (!forEdgeTriangles(triangles, adjTris_, current[i], current[i == 2 ? 0 : i + 1], meet)) return false;
  }
  return true;
}

bool meshOriented(CompactMesh const& mesh, MeshAdjTris const& adjTris) {
  return isConsistentlyWound(mesh, adjTris);
}

bool meshMakeOriented(CompactMesh& mesh, MeshAdjTris const& adjTris) {
  MeshOrient orientation(mesh, adjTris);
  orientation.orient();
  return orientation.isOriented();
}

}  // namespace qvGeom
