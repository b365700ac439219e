#include "scene.h"

#include <algorithm>
#include <cmath>

#include "stage.h"

namespace tool {

using qvGeom::CompactMesh;
using qvGeom::MeshCoord;
using qvGeom::MeshTriangle;
using qvLinear::Point;
using qvLinear::Vector;
using qvLinear::VectorFlt;

namespace {

// Where two triangles bend by more the surface has an edge: below the right angles of boxes and the 60
// degrees of bolts, above those of coarse round shapes.
constexpr double kCreaseCosine = 0.643;  // of 50 degrees
// A supplied normal that leans over by more belongs to some other surface.
constexpr double kSuppliedCosine = 0.5;
// The pole of a fine sphere has thousands of triangles; so many tell as much.
constexpr int kMostAround = 128;

}  // namespace

Scene::Scene(const CompactMesh& mesh, const std::vector<double>& scalars, bool supplied, Console& console) {
  const std::vector<int> sources = stageMesh(mesh, surface_.mesh).vertices;
  if (empty()) return;
  measureFacets();
  for (const int v : sources)
    if (!scalars.empty()) scalars_.push_back(scalars[static_cast<std::size_t>(v)]);
  if (supplied && mesh.getNormals()) {
    surface_.mesh.allocNormalArray();
    for (std::size_t v = 0; v < sources.size(); ++v)
      surface_.mesh.getNormals()[v] = mesh.getNormals()[sources[v]];
  } else {
    welded_ = surface_.mesh;
    qvGeom::Remap remap;
    weldPositions(welded_, console, remap);
    meshAdjTris(welded_, around_);
  }
  console.throwIfInterrupted();
  surface_.index(0.1, console, 8);
}

void Scene::measureFacets() {
  facets_.reserve(static_cast<std::size_t>(mesh().getNumTriangles()));
  for (int t = 0; t < mesh().getNumTriangles(); ++t)
    facets_.emplace_back(areaNormal(mesh(), mesh().getTriangles()[t]));
}

Vector Scene::flatNormal(int triangle) const {
  Vector n(facets_[static_cast<std::size_t>(triangle)]);
  return n.normalize() ? n : Vector();
}

// Lifted to the mean of the planes at the corners, a point sees over the triangles next to its own wherever
// the rounded surface would: else light would end in steps along their edges. After J. Hanika, Hacking the
// shadow terminator (2021).
Scene::Rounded Scene::rounded(const MeshCoord& at) const {
  const Vector flat = flatNormal(at.triangle);
  const Point p = at.evaluate(mesh().getVertices(), mesh().getTriangles());
  Rounded result;
  for (int c = 0; c < 3; ++c) {
    Vector corner = cornerNormal(at.triangle, c);
    // A normal that is not finite comes out as none, and so does one that leans over.
    if (!corner.normalize() || std::fabs(dot(corner, flat)) < kSuppliedCosine) corner = flat;
    if (dot(corner, flat) < 0) corner.reverse();
    result.normal += at.weight[c] * corner;
    const double above =
        dot(p - mesh().getVertices()[mesh().getTriangles()[at.triangle][c]].asPoint(), corner);
    (above < 0 ? result.lift : result.sink) -= at.weight[c] * above * corner;
  }
  if (!result.normal.normalize()) result.normal = flat;
  return result;
}

// The mean, by area, of the triangles that bend little from this one. Those turned round count as if they
// were not: a triangle with its neighbours' winding reversed still looks like part of the surface.
Vector Scene::cornerNormal(int triangle, int corner) const {
  if (qvGeom::MeshNormal const* normals = mesh().getNormals())
    return normals[mesh().getTriangles()[triangle][corner]].asVector();
  const Vector own(facets_[static_cast<std::size_t>(triangle)]);
  const double bound = kCreaseCosine * kCreaseCosine * length2(own);
  const int v = welded_.getTriangles()[triangle][corner];
  int const* tris = around_.triIndices(v);
  const int count = around_.numTris(v);
  const int step = std::max(1, count / kMostAround);
  Vector sum = own;
  for (int i = 0; i < count; i += step) {
    if (tris[i] == triangle) continue;
    const Vector other(facets_[static_cast<std::size_t>(tris[i])]);
    const double along = dot(own, other);
    if (along * along > bound * length2(other)) sum += along < 0 ? -other : other;
  }
  return sum;
}

double Scene::scalar(const MeshCoord& at) const {
  const MeshTriangle& t = mesh().getTriangles()[at.triangle];
  double sum = 0;
  for (int c = 0; c < 3; ++c) sum += at.weight[c] * scalars_[static_cast<std::size_t>(t[c])];
  return sum;
}

}  // namespace tool
