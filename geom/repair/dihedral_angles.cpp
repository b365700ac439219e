#include "geom/repair/dihedral_angles.h"

#include <cmath>
#include <cstddef>
#include <numbers>

#include "geom/model/keel/channels.h"
#include "geom/model/keel/stop_watch.h"
#include "geom/model/keel/threading.h"
#include "geom/topology/normals.h"

namespace qvGeom {

using qvLinear::Normal;

namespace {

using Edge = std::pair<int, int>;

// The corner of the triangle at vertex v, -1 if it has none there.
int cornerAt(const MeshTriangle& t, int v) { return t[0] == v ? 0 : t[1] == v ? 1 : t[2] == v ? 2 : -1; }

// The cosine beyond which an angle is below the given one, whatever the rounding of both: most edges are
// nearly flat, and need no arc tangent to say so.
double surelyLessCosine(double angle) { return std::cos(std::fmax(angle, 0)) + 1e-9; }

class FindAnglesAlg : public qvUtil::ThreadedAlg {
 public:
  FindAnglesAlg(CompactMesh const& mesh, MeshAdjTris const& adjTris, double threshold)
      : vertices_(mesh.getVerticesRaw()),
        triangles_(mesh.getTriangles()),
        count_(mesh.getNumTriangles()),
        adjTris_(adjTris),
        threshold_(threshold),
        surelyLess_(surelyLessCosine(threshold)) {}

  void initialize(int numThreads) override { found_.resize(static_cast<std::size_t>(numThreads)); }

  void execute(int thread, int numThreads) override {
    qv::vector<Edge> found;
    const int end = getBeginIndex(thread + 1, numThreads, count_);
    for (int t = getBeginIndex(thread, numThreads, count_); t < end; ++t) findAround(t, found);
    found_[static_cast<std::size_t>(thread)] = std::move(found);
  }

  void finalize() override {
    for (std::size_t i = 1; i < found_.size(); ++i)
      found_[0].insert(found_[0].end(), found_[i].begin(), found_[i].end());
  }
  qv::vector<Edge>& result() { return found_[0]; }

 private:
  void findAround(int t, qv::vector<Edge>& found) const {
    const Normal n = meshTriNormal(vertices_, triangles_[t].v);
    for (int k = 0; k < 3; ++k) {
      const int v = triangles_[t][k];
      const int w = triangles_[t][(k + 1) % 3];
      int const* list = adjTris_.triIndices(v);
      for (int i = 0; i < adjTris_.numTris(v); ++i) {
        const int u = list[i];
        if (u <= t) continue;
        const MeshTriangle& other = triangles_[u];
        if (other[(cornerAt(other, v) + 2) % 3] != w) continue;
        if (isFolded(n, meshTriNormal(vertices_, other.v))) found.emplace_back(v, w);
      }
    }
  }

  bool isFolded(const Normal& a, const Normal& b) const {
    if (dot(a, b) > surelyLess_) return false;
    return qvLinear::angle(a, b) >= threshold_;
  }

  float const* vertices_;
  MeshTriangle const* triangles_;
  int count_;
  MeshAdjTris const& adjTris_;
  double threshold_;  // between normals, radians
  double surelyLess_;
  qv::vector<qv::vector<Edge>> found_;
};

}  // namespace

void MeshDihedralAnglesResult::getAdjacentTriangles(CompactMesh const& mesh, MeshAdjTris const& adjTris,
                                                    qv::vector<int>& triangles) const {
  BitVector marked(mesh.getNumTriangles());
  for (const auto& [v, w] : foldedEdges) {
    int const* list = adjTris.triIndices(v);
    for (int i = 0; i < adjTris.numTris(v); ++i)
      if (cornerAt(mesh.getTriangles()[list[i]], w) >= 0) marked.setBit(list[i]);
  }
  triangles.clear();
  for (int t = 0; t < mesh.getNumTriangles(); ++t)
    if (marked.test(t)) triangles.push_back(t);
}

void meshFindAnglesLessThan(CompactMesh const& mesh, MeshAdjTris const& adjTris, double angleDegrees,
                            MeshDihedralAnglesResult& result) {
  qvOS::StopWatch watch;
  watch.start();
  result.foldedEdges.clear();
  FindAnglesAlg alg(mesh, adjTris, std::numbers::pi - angleDegrees / 180 * std::numbers::pi);
  qvUtil::ThreadPool::get().run(alg);
  result.foldedEdges.swap(alg.result());
  debugChannel().print("   meshFindAnglesLessThan: %f s\n", watch.stop());
}

double meshMaxDihedralAngle(CompactMesh const& mesh, MeshAdjTris const& adjTris) {
  qv::vector<Normal> normals;
  normals.reserve(static_cast<std::size_t>(mesh.getNumTriangles()));
  for (int t = 0; t < mesh.getNumTriangles(); ++t)
    normals.push_back(meshTriNormal(mesh.getVerticesRaw(), mesh.getTriangles()[t].v));
  double largest = 0, surelyLess = surelyLessCosine(0);
  for (int t = 0; t < mesh.getNumTriangles(); ++t) {
    const MeshTriangle& tri = mesh.getTriangles()[t];
    for (int k = 0; k < 2; ++k) {  // every edge has an end at one of these corners
      int const* list = adjTris.triIndices(tri[k]);
      for (int i = 0; i < adjTris.numTris(tri[k]); ++i) {
        if (list[i] <= t || dot(normals[t], normals[list[i]]) > surelyLess) continue;
        const MeshTriangle& other = mesh.getTriangles()[list[i]];
        const int corner = cornerAt(other, tri[k]);
        bool isNeighbour = false;
        for (const int a : {tri[(k + 1) % 3], tri[(k + 2) % 3]})
          isNeighbour = isNeighbour || other[(corner + 1) % 3] == a || other[(corner + 2) % 3] == a;
        if (!isNeighbour) continue;
        largest = std::fmax(largest, qvLinear::angle(normals[t], normals[list[i]]));
        surelyLess = surelyLessCosine(largest);
      }
    }
  }
  return largest;
}

}  // namespace qvGeom
