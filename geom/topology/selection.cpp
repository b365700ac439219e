#include "geom/topology/selection.h"

#include <cstddef>

#include "geom/model/keel/channels.h"
#include "geom/model/keel/stop_watch.h"
#include "geom/planar/point_in_polygon.h"

namespace qvGeom {
namespace {

class Report {
 public:
  // @param header null for none
  explicit Report(char const* header) {
    if (header) debugChannel().print("%s", header);
    watch_.start();
  }
  void vertices(const BitVector& selected) { print("  selected vertices(%d): %f s\n", selected); }
  void triangles(const BitVector& selected) { print("  selected triangles(%d): %f s\n", selected); }
  double seconds() { return watch_.stop(); }

 private:
  void print(char const* format, const BitVector& selected) {
    debugChannel().print(format, static_cast<int>(selected.numSetBits), seconds());
  }
  qvOS::StopWatch watch_;
};

void fit(BitVector& selection, int n) {
  if (selection.size() != n) selection.resize(n);
}

}  // namespace

MeshSelect::MeshSelect(CompactMesh& mesh, MeshAdjTris const& adjTris)
    : MeshSelect(mesh, adjTris, mesh.getSelectedTriangles(), mesh.getSelectedVertices()) {}

MeshSelect::MeshSelect(CompactMesh const& mesh, MeshAdjTris const& adjTris, BitVector& triangles,
                       BitVector& vertices)
    : adjTris_(adjTris),
      triangles_(triangles),
      vertices_(vertices),
      meshVertices_(mesh.getVertices()),
      meshTriangles_(mesh.getTriangles()),
      numVertices_(mesh.getNumVertices()),
      numTriangles_(mesh.getNumTriangles()) {
  fit(triangles_, numTriangles_);
  fit(vertices_, numVertices_);
}

void MeshSelect::selectVertices(const qvLinear::ProjMatrix& m, qv::vector<qvLinear::Point> const& lasso) {
  debugChannel().print("MeshSelect::selectVertices: vertices(%d) triangles(%d)\n", numVertices_,
                       numTriangles_);
  Report report(nullptr);
  struct ScreenPoint {
    float xy[2];
  };
  qv::vector<ScreenPoint> polygon;
  polygon.reserve(lasso.size() + 1);
  for (const qvLinear::Point& p : lasso)
    polygon.push_back({{static_cast<float>(p[0]), static_cast<float>(p[1])}});
  if (!polygon.empty()) polygon.push_back(polygon.front());
  float matrix[16];
  for (int i = 0; i < 16; ++i) matrix[i] = static_cast<float>(m.m[i]);
  for (int v = 0; v < numVertices_; ++v) {
    const MeshVertex& p = meshVertices_[v];
    const auto row = [&](int r) {
      return matrix[r] * p.x + matrix[4 + r] * p.y + matrix[8 + r] * p.z + matrix[12 + r];
    };
    const float w = row(3);
    const float onScreen[2] = {row(0) / w, row(1) / w};
    if (!lasso.empty() &&
        pointPolygonIntersect2D(onScreen, reinterpret_cast<float const(*)[2]>(polygon.data()),
                                static_cast<int>(lasso.size())))
      vertices_.setBit(v);
  }
  report.vertices(vertices_);
}

int MeshSelect::numSelectedCorners(MeshTriangle const& triangle) const {
  int count = 0;
  for (const int v : triangle.v) count += vertices_.test(v) ? 1 : 0;
  return count;
}

void MeshSelect::selectTrianglesWith(int minCorners) {
  triangles_.clearBits();
  for (int t = 0; t < numTriangles_; ++t)
    if (numSelectedCorners(meshTriangles_[t]) >= minCorners) triangles_.setBit(t);
}

void MeshSelect::selectTrianglesFromVertices(int minCorners) {
  Report report("MeshSelect::selectedTrianglesFromVertices()\n");
  selectTrianglesWith(minCorners);
  report.triangles(triangles_);
}

void MeshSelect::selectAllTrianglesFromVertices() {
  Report report("MeshSelect::selectAllTrianglesFromVertices()\n");
  selectTrianglesWith(1);
  report.triangles(triangles_);
}

void MeshSelect::selectVerticesFromTriangles() {
  Report report("MeshSelect::selectVerticesFromTriangles()\n");
  vertices_.clearBits();
  for (int t = 0; t < numTriangles_; ++t)
    if (triangles_.test(t)) vertices_.setBits(3, meshTriangles_[t].v);
  report.vertices(vertices_);
}

void MeshSelect::selectTrianglesRecursive(bool oneRing) {
  Report report("MeshSelect::selectTrianglesRecursive()\n");
  qv::vector<int> stack;
  for (int t = 0; t < numTriangles_; ++t)
    if (triangles_.test(t)) stack.push_back(t);
  while (!stack.empty()) {
    const MeshTriangle& triangle = meshTriangles_[stack.back()];
    stack.pop_back();
    for (const int v : triangle.v) {
      int const* tris = adjTris_.triIndices(v);
      for (int i = 0; i < adjTris_.numTris(v); ++i) {
        if (triangles_.test(tris[i])) continue;
        triangles_.setBit(tris[i]);
        if (!oneRing) stack.push_back(tris[i]);
      }
    }
  }
  debugChannel().print("   %f s\n", report.seconds());
}

void MeshSelect::invertTriangleSelection() {
  for (int t = 0; t < numTriangles_; ++t) triangles_.test(t) ? triangles_.clearBit(t) : triangles_.setBit(t);
}

void MeshSelect::selectTrisAdjacentToVert(int v, BitVector& triangles) {
  triangles.setBits(adjTris_.numTris(v), adjTris_.triIndices(v));
}

void MeshSelect::selectAffectedTriangles(std::deque<MeshCoord> const& coords, double tolerance) {
  float const* vertices = reinterpret_cast<float const*>(meshVertices_);
  int const* triangles = reinterpret_cast<int const*>(meshTriangles_);
  for (const MeshCoord& coord : coords) {
    if (!coord.valid() || coord.triangle >= numTriangles_) continue;
    const MeshTriangle& triangle = meshTriangles_[coord.triangle];
    int which = 0;
    if (coord.onVertex(vertices, triangles, tolerance, &which)) {
      selectTrisAdjacentToVert(triangle[which], triangles_);
    } else if (coord.onEdge(vertices, triangles, tolerance, &which)) {
      selectTrisAdjacentToVert(triangle[which], triangles_);
      selectTrisAdjacentToVert(triangle[(which + 1) % 3], triangles_);
    } else {
      for (const int v : triangle.v) selectTrisAdjacentToVert(v, triangles_);
    }
  }
}

}  // namespace qvGeom
