#include "geom/repair/hole_patch.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numbers>
#include <utility>

#include "geom/model/keel/vectors.h"
#include "geom/repair/hole_fairing.h"

namespace qvGeom {

using qvLinear::Point;

HolePatch::HolePatch(TopoMesh& mesh, qv::vector<TopoMeshFace> faces, qv::vector<double>& scale,
                     qvUtil::Progress& progress)
    : mesh_(mesh),
      faces_(std::move(faces)),
      scale_(scale),
      progress_(progress),
      relaxer_(mesh, faces_.front().firstEdge().number()) {
  const std::uint64_t firstNew = faces_.front().firstEdge().number();
  for (const TopoMeshFace face : faces_)
    for (const TopoMeshEdge e : {face.firstEdge(), face.firstEdge().next(), face.firstEdge().prev()})
      if (e.twin() && e.number() < e.twin().number() && e.number() >= firstNew) relaxer_.add(e);
}

bool HolePatch::refine() {
  for (int pass = 0; pass < kMaxPasses; ++pass) {
    const std::size_t before = inserted_.size();
    if (!refineOnce()) return false;
    if (inserted_.size() == before) break;
    if (!relaxer_.relax(progress_)) return false;
  }
  return true;
}

bool HolePatch::refineOnce() {
  constexpr int kAskEvery = 10000;  // faces; a few milliseconds
  qv::vector<TopoMeshFace> next;
  next.reserve(faces_.size());
  int untilAsk = kAskEvery;
  for (const TopoMeshFace face : faces_) {
    if (--untilAsk == 0) {
      if (progress_.cancelled()) return false;
      untilAsk = kAskEvery;
    }
    const Point centroid = face.centroid();
    const double scale = scaleOf(face);
    if (isTooLarge(face, centroid, scale)) {
      split(face, centroid, scale, next);
    } else {
      next.push_back(face);
    }
  }
  faces_.swap(next);
  return true;
}

double HolePatch::scaleOf(TopoMeshFace face) const {
  const TopoMeshEdge e = face.firstEdge();
  double sum = 0;
  for (const TopoMeshVertex v : {e.start(), e.end(), e.prev().start()}) sum += scale_[v.number()];
  return sum / 3;
}

bool HolePatch::isTooLarge(TopoMeshFace face, const Point& centroid, double scale) const {
  if (!(scale > 0 && std::isfinite(scale))) return false;
  const TopoMeshEdge e = face.firstEdge();
  for (const TopoMeshVertex v : {e.start(), e.end(), e.prev().start()}) {
    const double d = std::numbers::sqrt2 * distance(centroid, v.point());
    if (!(d > scale_[v.number()] && d > scale)) return false;
  }
  return true;
}

void HolePatch::split(TopoMeshFace face, const Point& centroid, double scale,
                      qv::vector<TopoMeshFace>& next) {
  const TopoMeshEdge outer[] = {face.firstEdge(), face.firstEdge().next(), face.firstEdge().prev()};
  const TopoMeshVertex v = mesh_.subdivideFace(face, centroid);
  scale_.resize(v.number() + 1);
  scale_.back() = scale;
  inserted_.push_back(v);
  for (TopoMeshEdgeVertexIterator it(v); it.valid(); it.next()) {
    relaxer_.add(it.get());
    next.push_back(it.get().face());
  }
  for (const TopoMeshEdge e : outer)
    if (relaxer_.contains(e)) relaxer_.swap(e);
}

bool HolePatch::fair(qvUtil::Progress& phase) {
  if (inserted_.empty() || inserted_.size() > std::numeric_limits<int>::max() / 3) return true;
  return HoleFairing(inserted_, progress_).run(phase);
}

}  // namespace qvGeom
