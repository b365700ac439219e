#include "geom/topology/curvature.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>

#include "geom/model/keel/channels.h"
#include "geom/model/keel/stop_watch.h"
#include "geom/model/keel/tolerances.h"
#include "geom/model/keel/values.h"
#include "geom/topology/adjacency.h"
#include "geom/topology/element_runs.h"
#include "geom/topology/transforms.h"

namespace qvGeom {

using qvLinear::AffineMatrixFlt;
using qvLinear::Vector;

namespace {

constexpr double kTwoPi = 6.283185307179586;

float asFloat(double value) { return static_cast<float>(qvUtil::withinFloats(value)); }

// Vertices and normals in place: those of the mesh, or copies that went through a matrix.
class PlacedArrays {
 public:
  PlacedArrays(CompactMesh const& mesh, AffineMatrixFlt const& matrix)
      : vertices(mesh.getVertices()), normals(mesh.getNormals()) {
    const int n = mesh.getNumVertices();
    if (n == 0 || equivalent(matrix, AffineMatrixFlt(), qvLinear::epsilonTolFlt)) return;
    vertexCopies_.assign(vertices, vertices + n);
    vertices = vertexCopies_.data();
    meshTransform(&vertexCopies_.data()->x, n, matrix);
    if (!normals) return;
    normalCopies_.assign(normals, normals + n);
    normals = normalCopies_.data();
    meshTransformNormals(&normalCopies_.data()->x, n, matrix);
  }

  MeshVertex const* vertices;
  MeshNormal const* normals;  // or null

 private:
  qv::vector<MeshVertex> vertexCopies_;
  qv::vector<MeshNormal> normalCopies_;
};

// The cotangents of a triangle's angles; 0 where an angle has none, so that the term it belongs to vanishes.
struct ComputeCotangents {
  MeshVertex const* vertices;
  MeshTriangle const* triangles;
  double (*cotangents)[3];

  void operator()(int begin, int end) const {
    for (int t = begin; t < end; ++t) {
      MeshTriangle const& tri = triangles[t];
      const qvLinear::Point p[3] = {vertices[tri[0]].asPoint(), vertices[tri[1]].asPoint(),
                                    vertices[tri[2]].asPoint()};
      const Vector sides[3] = {p[1] - p[0], p[2] - p[1], p[0] - p[2]};
      const double squares[3] = {length2(sides[0]), length2(sides[1]), length2(sides[2])};
      for (int k = 0; k < 3; ++k) {
        const int before = k == 0 ? 2 : k - 1;
        const double uw = -dot(sides[k], sides[before]);
        const double cotangent = uw / std::sqrt(squares[k] * squares[before] - uw * uw);
        cotangents[t][k] = std::isfinite(cotangent) ? cotangent : 0;
      }
    }
  }
};

// A vertex is inner when it has as many neighbours as triangles.
struct Neighbourhood {
  MeshAdjTris const& adjTris;
  MeshAdjVertices const& adjVertices;

  bool isInner(int v) const { return adjVertices.numAdjVertices(v) == adjTris.numTris(v); }
};

class InteriorCurvature {
 public:
  InteriorCurvature(const PlacedArrays& arrays, MeshTriangle const* triangles, double const (*cotangents)[3],
                    const Neighbourhood& around, MeshCurvature type, float* out)
      : vertices_(arrays.vertices),
        normals_(arrays.normals),
        triangles_(triangles),
        cotangents_(cotangents),
        around_(around),
        type_(type),
        out_(out) {}

  void operator()(int begin, int end) const {
    qv::vector<int> fan;
    for (int v = begin; v < end; ++v) {
      const int n = around_.adjTris.numTris(v);
      out_[v] = 0;
      if (n < 2 || !around_.isInner(v)) continue;
      sortAdjTris(v, n, around_.adjTris.triIndices(v), triangles_, fan);
      out_[v] = asFloat(valueOf(v, sumOver(v, fan)));
    }
  }

 private:
  // What the triangles of a vertex contribute.
  struct Sums {
    Vector bend;       // twice the gradient of the area: along the normal, its length 4 A H
    double angle = 0;  // radians
    double area = 0;   // the vertex's share A
  };

  // A triangle seen from one of its corners: the edges that come in to it, and the cotangents.
  struct Corner {
    Vector fromNext, fromPrevious;
    double cotangent, cotNext, cotPrevious;
  };
  Corner cornerOf(int v, int t) const {
    MeshTriangle const& tri = triangles_[t];
    const int k = tri[0] == v ? 0 : tri[1] == v ? 1 : 2;
    const int next = k == 2 ? 0 : k + 1;
    const int previous = k == 0 ? 2 : k - 1;
    const qvLinear::Point p = vertices_[v].asPoint();
    double const* cot = cotangents_[t];
    return {p - vertices_[tri[next]].asPoint(), p - vertices_[tri[previous]].asPoint(), cot[k], cot[next],
            cot[previous]};
  }

  Sums sumOver(int v, const qv::vector<int>& fan) const {
    Sums sums;
    const Corner first = cornerOf(v, fan.front());
    Corner corner = first;
    for (std::size_t i = 1; i <= fan.size(); ++i) {
      const Corner following = i < fan.size() ? cornerOf(v, fan[i]) : first;
      sums.bend += (corner.cotNext + following.cotPrevious) * corner.fromPrevious;
      if (type_ != MeshCurvatureMean) sums.angle += angleAt(corner);
      sums.area += areaAt(corner);
      corner = following;
    }
    return sums;
  }

  static double angleAt(const Corner& corner) {
    const double squares = length2(corner.fromNext) * length2(corner.fromPrevious);
    if (!(squares > 0)) return 0;
    // Rounding may carry the cosine past 1.
    return std::acos(std::clamp(dot(corner.fromNext, corner.fromPrevious) / std::sqrt(squares), -1.0, 1.0));
  }

  // What lies nearer to this corner than to the others; of an obtuse triangle, where the circumcentre is
  // outside, half or a quarter.
  static double areaAt(const Corner& corner) {
    if (corner.cotangent >= 0 && corner.cotNext >= 0 && corner.cotPrevious >= 0)
      return (length2(corner.fromPrevious) * corner.cotNext + length2(corner.fromNext) * corner.cotPrevious) /
             8;
    const double area = 0.5 * length(cross(corner.fromNext, corner.fromPrevious));
    return area / (corner.cotangent < 0 ? 2 : 4);
  }

  double valueOf(int v, const Sums& sums) const {
    if (!(sums.area > 0)) return 0;
    const double gaussian = (kTwoPi - sums.angle) / sums.area;
    if (type_ == MeshCurvatureGaussian) return gaussian;
    const double mean = meanCurvature(v, sums);
    if (type_ == MeshCurvatureMean) return mean;
    // Of an umbilic point, rounding may leave a square below zero.
    const double spread = std::sqrt(std::fabs(mean * mean - gaussian));
    const double a = mean + spread;
    const double b = mean - spread;
    const bool aIsLarger = std::fabs(a) >= std::fabs(b);
    if (type_ == MeshCurvatureMaxPrincipal) return aIsLarger ? a : b;
    return type_ == MeshCurvatureMinPrincipal ? (aIsLarger ? b : a) : 0;
  }

  double meanCurvature(int v, const Sums& sums) const {
    const double bend = length(sums.bend);
    const double mean = bend / (4 * sums.area);
    const bool inwards =
        normals_ && bend >= qvLinear::epsilonTol && dot(sums.bend, normals_[v].asVector()) < 0;
    return inwards ? -mean : mean;
  }

  MeshVertex const* vertices_;
  MeshNormal const* normals_;
  MeshTriangle const* triangles_;
  double const (*cotangents_)[3];
  const Neighbourhood& around_;
  MeshCurvature type_;
  float* out_;
};

// Two passes, each of which reads only what the other one, or none, writes.
class BoundaryCurvature {
 public:
  BoundaryCurvature(const Neighbourhood& around, float* out) : around_(around), out_(out) {}

  void averageInnerNeighbours(int begin, int end) const {
    for (int v = begin; v < end; ++v)
      if (!around_.isInner(v) && valence(v) != 2)
        out_[v] = averageOver(v, [this](int w) { return around_.isInner(w); });
  }
  void fillCorners(int begin, int end) const {
    for (int v = begin; v < end; ++v)
      if (!around_.isInner(v) && valence(v) <= 2)
        out_[v] = averageOver(v, [this](int w) { return valence(w) > 2; });
  }

 private:
  int valence(int v) const { return around_.adjVertices.numAdjVertices(v); }

  template <typename Counts>
  float averageOver(int v, const Counts& counts) const {
    double sum = 0;
    int n = 0;
    int const* neighbours = around_.adjVertices.vertexIndices(v);
    for (int i = 0; i < valence(v); ++i) {
      if (!counts(neighbours[i])) continue;
      sum += out_[neighbours[i]];
      ++n;
    }
    return n > 0 ? static_cast<float>(sum / n) : 0;
  }

  const Neighbourhood& around_;
  float* out_;
};

}  // namespace

void meshCurvature(CompactMesh const& mesh, MeshAdjTris const& adjTris, MeshAdjVertices const& adjVertices,
                   AffineMatrixFlt const& matrix, MeshCurvature type, float* out) {
  const int numVertices = mesh.getNumVertices();
  const int numTriangles = mesh.getNumTriangles();
  debugChannel().print("meshCurvature:  vertices %d  triangles %d\n", numVertices, numTriangles);
  qvOS::StopWatch watch;
  watch.start();
  const PlacedArrays arrays(mesh, matrix);
  const auto cotangents = std::make_unique_for_overwrite<double[][3]>(static_cast<std::size_t>(numTriangles));
  forElementRuns(numTriangles, ComputeCotangents{arrays.vertices, mesh.getTriangles(), cotangents.get()});
  debugChannel().print(" cotangents computed in: %f s\n", watch.clear());

  watch.start();
  const Neighbourhood around{adjTris, adjVertices};
  forElementRuns(numVertices,
                 InteriorCurvature(arrays, mesh.getTriangles(), cotangents.get(), around, type, out));
  debugChannel().print("  interior curvature computed: %f s\n", watch.clear());

  watch.start();
  const BoundaryCurvature boundary(around, out);
  forElementRuns(numVertices, [&](int begin, int end) { boundary.averageInnerNeighbours(begin, end); });
  // Corners read what all threads wrote there.
  forElementRuns(numVertices, [&](int begin, int end) { boundary.fillCorners(begin, end); });
  debugChannel().print("  boundary curvature computed: %f s\n", watch.stop());
}

}  // namespace qvGeom
