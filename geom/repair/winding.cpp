#include "geom/repair/winding.h"

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

#include "geom/model/keel/channels.h"
#include "geom/model/keel/stop_watch.h"
#include "geom/model/trellis/array.h"
#include "geom/topology/selection.h"

namespace qvGeom {

namespace {

void negate(MeshNormal& n) { n = {-n.x, -n.y, -n.z}; }

void turn(MeshTriangle& t) { std::swap(t[0], t[1]); }

// The winding of a strip alternates, so an even one keeps it when reversed; what turns it is to begin one
// point later. Four points can do that in place.
bool needsSplit(int length) { return length > 4 && length % 2 == 0; }

void turnWhole(int* points, int length) {
  if (length == 4) {
    std::swap(points[1], points[2]);
  } else if (length % 2 != 0) {
    std::reverse(points, points + length);
  }
}

void splitStrips(CompactMesh& mesh, int splits) {
  Array<int> lengths, points;
  lengths.assign(mesh.getTriStripLengths(), mesh.getNumTriStrips());
  points.assign(mesh.getTriStripPoints(), mesh.getNumTriStripPoints());
  if (points.size() > std::numeric_limits<int>::max() - 2 * splits) throw std::bad_alloc();
  mesh.resizeTriStripArrays(lengths.size() + splits, points.size() + 2 * splits);
  int* nextLength = mesh.getTriStripLengths();
  int* next = mesh.getTriStripPoints();
  int const* p = points.begin();
  for (const int length : lengths) {
    if (needsSplit(length)) {
      *nextLength++ = 3;
      *nextLength++ = length - 1;
      next = std::reverse_copy(p, p + 3, next);
      next = std::copy(p + 1, p + length, next);
    } else {
      *nextLength++ = length;
      int* const strip = next;
      next = std::copy(p, p + length, next);
      turnWhole(strip, length);
    }
    p += length;
  }
}

void turnStrips(CompactMesh& mesh) {
  int const* lengths = mesh.getTriStripLengths();
  const int n = mesh.getNumTriStrips();
  if (const auto splits = std::count_if(lengths, lengths + n, needsSplit)) {
    splitStrips(mesh, static_cast<int>(splits));
    return;
  }
  int* points = mesh.getTriStripPoints();
  for (int i = 0; i < n; points += lengths[i++]) turnWhole(points, lengths[i]);
}

void turnFans(CompactMesh& mesh) {
  int const* lengths = mesh.getTriFanLengths();
  int* points = mesh.getTriFanPoints();
  for (int i = 0; i < mesh.getNumTriFans(); points += lengths[i++])
    if (lengths[i] > 1) std::reverse(points + 1, points + lengths[i]);
}

}  // namespace

void meshReverseWinding(CompactMesh& mesh, bool reverseNormals) {
  const int n = mesh.getNumTriangles();
  debugChannel().print("meshReverseWinding: %d triangles\n", n);
  qvOS::StopWatch watch;
  watch.start();
  turnStrips(mesh);  // first: nothing after it takes memory
  turnFans(mesh);
  std::for_each_n(mesh.getTriangles(), n, turn);
  if (MeshNormal* normals = mesh.getNormals(); normals && reverseNormals)
    std::for_each_n(normals, mesh.getNumVertices(), negate);
  if (MeshNormal* normals = mesh.getTriangleNormals()) std::for_each_n(normals, n, negate);

  MeshModification modification(&mesh, MeshModification::TopologyModified, nullptr);
  if (reverseNormals) {
    modification.normalsModified();
  } else {
    modification.normalsValid();
  }
  modification.triangleNormalsModified();
  modification.uvsValid();
  modification.stripsAndFansModified();
  mesh.modified(modification);
  debugChannel().print("  remapped triangle indices: %f s\n", watch.stop());
}

void meshReverseWinding(CompactMesh& mesh, MeshAdjTris const& adjTris, int triangle) {
  BitVector& selection = mesh.getSelectedTriangles();
  selection.resize(mesh.getNumTriangles());
  selection.setBit(triangle);
  MeshSelect(mesh, adjTris).selectTrianglesRecursive(false);
  meshReverseSelectedWinding(mesh);
}

void meshReverseSelectedWinding(CompactMesh& mesh) {
  const int n = mesh.getNumTriangles();
  debugChannel().print("meshReverseSelectedWinding: %d triangles\n", n);
  qvOS::StopWatch watch;
  watch.start();
  BitVector negated(mesh.getNumVertices());
  const BitVector& selection = mesh.getSelectedTriangles();
  MeshTriangle* triangles = mesh.getTriangles();
  MeshNormal* normals = mesh.getNormals();
  MeshNormal* triangleNormals = mesh.getTriangleNormals();
  for (int t = 0; t < n; ++t) {
    if (!selection.test(t)) continue;
    turn(triangles[t]);
    if (triangleNormals) negate(triangleNormals[t]);
    if (!normals) continue;
    for (const int v : triangles[t].v) {
      if (negated.test(v)) continue;
      negated.setBit(v);
      negate(normals[v]);
    }
  }
  MeshModification modification(&mesh, MeshModification::TopologyModified, nullptr);
  modification.normalsModified();
  modification.triangleNormalsModified();
  modification.uvsValid();
  mesh.modified(modification);
  debugChannel().print("  remapped triangle indices: %f s\n", watch.stop());
}

}  // namespace qvGeom
