#include "geom/topology/boundaries.h"

#include <cstddef>

#include "geom/model/keel/channels.h"
#include "geom/model/keel/stop_watch.h"

namespace qvGeom {

namespace Boundary {

namespace {

// As findEdge; apart from it so that the walk can inline it.
inline int following(int v, const MeshTriangle& t) {
  return t[0] == v ? t[1] : t[1] == v ? t[2] : t[2] == v ? t[0] : -1;
}

inline bool runs(int a, int b, MeshTriangle const* triangles, MeshAdjTris const& adjTris) {
  int const* tris = adjTris.triIndices(a);
  // All three edges: with a repeated corner the first one equal to a is not the only one.
  for (int k = adjTris.numTris(a); k > 0; --k, ++tris) {
    const MeshTriangle& t = triangles[*tris];
    if ((t[0] == a && t[1] == b) || (t[1] == a && t[2] == b) || (t[2] == a && t[0] == b)) return true;
  }
  return false;
}

}  // namespace

int findEdge(int v, int const* triangle) {
  for (int k = 0; k < 3; ++k)
    if (triangle[k] == v) return triangle[(k + 1) % 3];
  return -1;
}

bool hasEdge(CompactMesh const& mesh, MeshAdjTris const& adjTris, int a, int b) {
  return runs(a, b, mesh.getTriangles(), adjTris);
}

bool walkBoundary(int v, int& next, CompactMesh const& mesh, MeshAdjTris const& adjTris,
                  MeshAdjVertices const& adjVertices) {
  MeshTriangle const* triangles = mesh.getTriangles();
  int const* tris = adjTris.triIndices(v);
  for (int k = adjTris.numTris(v); k > 0; --k, ++tris) {
    next = following(v, triangles[*tris]);
    if (adjVertices.numAdjVertices(next) != adjTris.numTris(next) && !runs(next, v, triangles, adjTris))
      return true;
  }
  return false;
}

}  // namespace Boundary

namespace {

class Alg {
 public:
  Alg(CompactMesh const& mesh, MeshAdjTris const& adjTris, MeshAdjVertices const& adjVertices)
      : mesh_(mesh), adjTris_(adjTris), adjVertices_(adjVertices), visited_(mesh.getNumVertices()) {}

  void run(MeshBoundaries& boundaries) {
    for (int v = 0; v < mesh_.getNumVertices(); ++v)
      if (!visited_.test(v)) walkFrom(v);
    MeshBoundaries result(lengths_, vertices_);
    boundaries.swap(result);
  }

 private:
  bool step(int v, int& next) const { return Boundary::walkBoundary(v, next, mesh_, adjTris_, adjVertices_); }

  void walkFrom(int current) {
    visited_.setBit(current);
    const int before = vertices_.size();
    int next = 0;
    while (step(current, next)) {
      vertices_.push_back(current);
      current = next;
      if (visited_.test(current)) break;
      visited_.setBit(current);
    }
    if (vertices_.size() > before) lengths_.push_back(vertices_.size() - before);
  }

  CompactMesh const& mesh_;
  MeshAdjTris const& adjTris_;
  MeshAdjVertices const& adjVertices_;
  BitVector visited_;
  Array<int> lengths_;
  Array<int> vertices_;  // of all loops, one after another
};

}  // namespace

void meshComputeBoundary(CompactMesh const& mesh, MeshAdjTris const& adjTris,
                         MeshAdjVertices const& adjVertices, MeshBoundaries& boundaries) {
  qvOS::StopWatch watch;
  watch.start();
  Alg(mesh, adjTris, adjVertices).run(boundaries);
  debugChannel().print("meshComputeBoundary: %d boundaries: %f s\n", boundaries.size(), watch.stop());
}

}  // namespace qvGeom
