// The holes are filled one after another in a half-edge copy of their surroundings, which is merged into the
// mesh when all went well: until then the mesh is only read. What is done for a hole costs as much as the
// hole is large, whatever the size of the copy, for meshes have thousands of small ones.

#include "geom/repair/hole_filling.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <new>
#include <optional>
#include <utility>

#include "geom/model/keel/smp_sort.h"
#include "geom/model/keel/threading.h"
#include "geom/model/keel/tolerances.h"
#include "geom/model/keel/vectors.h"
#include "geom/model/trellis/bit_vector.h"
#include "geom/planar/polygon_triangulation.h"
#include "geom/repair/hole_patch.h"
#include "geom/topology/region.h"
#include "geom/topology/selection.h"
#include "geom/topology/twins.h"

namespace qvGeom {
namespace {

using qvLinear::Point;

// Parts of the progress of a hole. The triangulation takes cubic time, all else about linear.
struct Shares {
  double triangulation;
  double patch;
};

Shares sharesOf(HoleQuality quality) {
  switch (quality) {
    case HoleQualityTriangulate:
      return {1.0, 0.0};
    case HoleQualityRefine:
      return {0.95, 0.05};
    default:
      return {0.85, 0.15};
  }
}

class Alg {
 public:
  Alg(CompactMesh& mesh, MeshAdjTris const& adjTris, MeshAdjVertices const& adjVertices,
      MeshBoundaries const& boundaries, qv::list<int> const& holes, HoleQuality quality,
      qvUtil::Progress& progress)
      : mesh_(mesh),
        adjTris_(adjTris),
        adjVertices_(adjVertices),
        boundaries_(boundaries),
        holes_(holes),
        quality_(quality),
        progress_(progress) {}

  int run();

 private:
  enum class Outcome { filled, skipped, cancelled };

  bool isHole(int hole) const { return hole >= 0 && hole < boundaries_.size(); }
  std::int64_t totalLength() const;
  bool extractRegion();
  Outcome fill(int hole, qvUtil::Progress& phase);

  bool collectLoop(int hole);
  bool removeEarsThatMeet();
  bool removeIfEar(TopoMeshVertex v);

  void findJoinedPairs(BitVector& joined);
  bool mayCreateFaces(qv::vector<int> const& triangles) const;
  void createFaces(qv::vector<int> const& triangles);
  void joinFaces();

  Outcome workOut(qvUtil::Progress& phase);
  double meanEdgeLength(int v) const;

  struct LoopVertex {
    int mesh;  // number in the mesh
    TopoMeshVertex region;
  };

  CompactMesh& mesh_;
  MeshAdjTris const& adjTris_;
  MeshAdjVertices const& adjVertices_;
  MeshBoundaries const& boundaries_;
  qv::list<int> const& holes_;
  HoleQuality quality_;
  qvUtil::Progress& progress_;

  std::optional<MeshModifyRep> region_;
  TopoMesh* topo_ = nullptr;
  bool earsRemoved_ = false;  // since neighbours were last looked for everywhere

  // Of the hole in work.
  qv::vector<LoopVertex> loop_;
  qv::vector<Point> points_;
  qv::vector<TopoMeshFace> faces_;

  // By number of the region's vertex, kept from hole to hole for the memory alone.
  qv::vector<int> loopPositions_;  // -1 outside the loop
  qv::vector<double> scale_;
};

}  // namespace

int meshHoleFill(CompactMesh& mesh, const MeshAdjTris& adjTris, const MeshAdjVertices& adjVertices,
                 const MeshBoundaries& boundaries, const qv::list<int>& holes, HoleQuality quality,
                 qvUtil::Progress& progress) {
  return Alg(mesh, adjTris, adjVertices, boundaries, holes, quality, progress).run();
}

namespace {

int Alg::run() {
  const std::int64_t total = totalLength();
  if (total == 0 || !extractRegion()) return 0;
  int filled = 0;
  int place = 0;
  for (const int hole : holes_) {
    ++place;
    if (!isHole(hole)) continue;
    qvUtil::Progress phase;
    progress_.subPhase(boundaries_.getLength(hole) / static_cast<double>(total), phase);
    char caption[64];
    std::snprintf(caption, sizeof caption, "Filling hole %d of %d", place, static_cast<int>(holes_.size()));
    phase.setCaption(caption);
    const Outcome outcome = fill(hole, phase);
    if (outcome == Outcome::cancelled) return 0;
    if (outcome == Outcome::filled) ++filled;
  }
  if (filled > 0) region_->merge();
  return filled;
}

std::int64_t Alg::totalLength() const {
  std::int64_t total = 0;
  for (const int hole : holes_)
    if (isHole(hole)) total += boundaries_.getLength(hole);
  return total;
}

// The triangles along the loops and two rings more: what fairing looks at.
// @return false when cancelled
bool Alg::extractRegion() {
  BitVector vertices(mesh_.getNumVertices());
  BitVector triangles(mesh_.getNumTriangles());
  for (const int hole : holes_)
    if (isHole(hole)) vertices.setBits(boundaries_.getLength(hole), boundaries_.getStart(hole));
  MeshSelect select(mesh_, adjTris_, triangles, vertices);
  select.selectTrianglesFromVertices(2);
  select.selectTrianglesRecursive(true);
  select.selectTrianglesRecursive(true);
  select.selectVerticesFromTriangles();
  if (progress_.cancelled()) return false;
  region_.emplace(mesh_, triangles, vertices, adjTris_);
  topo_ = &region_->extract();
  const std::size_t numbers = static_cast<std::size_t>(topo_->numVertices()) + 1;  // from 1 on
  loopPositions_.assign(numbers, -1);
  scale_.resize(numbers);
  return !progress_.cancelled();
}

Alg::Outcome Alg::fill(int hole, qvUtil::Progress& phase) {
  if (!collectLoop(hole) || loop_.size() < 3) return Outcome::skipped;
  qvUtil::Progress triangulation;
  phase.subPhase(sharesOf(quality_).triangulation, triangulation);
  qv::vector<int> triangles;
  bool done = false;
  try {
    BitVector joined;
    findJoinedPairs(joined);
    done = triangulatePolygon(points_, triangles, &joined, &triangulation);
  } catch (const std::bad_alloc&) {
    return Outcome::skipped;  // memory grows with the square of the length; shorter loops may still fit
  }
  if (!done || progress_.cancelled()) return Outcome::cancelled;
  if (!mayCreateFaces(triangles)) return Outcome::skipped;
  createFaces(triangles);
  triangulation.set(1);
  return quality_ == HoleQualityTriangulate ? Outcome::filled : workOut(phase);
}

// ---- the loop ----

// @return false when the hole cannot be filled
bool Alg::collectLoop(int hole) {
  loop_.clear();
  std::for_each(boundaries_.getStart(hole), boundaries_.getEnd(hole), [this](int v) {
    loop_.push_back({v, region_->getTopoMeshVertex(v)});
  });
  // A loop listed again, or touching one, may have lost vertices.
  const auto isLost = [](const LoopVertex& v) { return !v.region.isAlive(); };
  if (std::any_of(loop_.begin(), loop_.end(), isLost) || !removeEarsThatMeet()) return false;
  std::erase_if(loop_, isLost);
  points_.clear();
  for (const LoopVertex& v : loop_) points_.push_back(v.region.point());
  return true;
}

// Where two vertices of the loop coincide and one is the tip of an ear, the ear is folded into a slit that no
// triangulation can close well: it goes.
// @return false when an ear hangs on another
bool Alg::removeEarsThatMeet() {
  const int n = static_cast<int>(loop_.size());
  qv::vector<Point> points;
  qv::vector<int> order;
  for (int i = 0; i < n; ++i) {
    points.push_back(loop_[i].region.point());
    order.push_back(i);
  }
  using Less = bool (*)(const Point&, const Point&);
  qvUtil::smpSort(order.data(), n,
                  qvUtil::Ordering::IndexedBinaryPredicate<Point, Less>{points.data(), qvLinear::PointLess},
                  qvUtil::ThreadPool::get());
  for (int previous = 0, current = 1; current < n; ++current) {
    if (!equivalent(points[order[previous]], points[order[current]], qvLinear::epsilonTol)) {
      previous = current;
      continue;
    }
    const TopoMeshVertex a = loop_[order[previous]].region;
    const TopoMeshVertex b = loop_[order[current]].region;
    if (!removeIfEar(b) || !removeIfEar(a)) return false;
    if (b.isAlive()) {
      previous = current;
    } else if (!a.isAlive()) {
      previous = ++current;
    }
  }
  return true;
}

// @return false when it is an ear that may not be removed, since another corner of it is one too
bool Alg::removeIfEar(TopoMeshVertex v) {
  if (!v.isAlive() || v.valence() != 1) return true;
  const TopoMeshEdge e = v.firstEdge();
  if (e.end().valence() == 1 || e.next().end().valence() == 1) return false;
  if (!topo_->canDeleteVertex(v)) return true;  // another fan hangs on it
  region_->removeVertex(v);
  topo_->deleteVertex(v);
  earsRemoved_ = true;
  return true;
}

// ---- the triangulation ----

// Pairs of loop vertices with an inner edge between them: the triangulation must not add it again.
void Alg::findJoinedPairs(BitVector& joined) {
  const int n = static_cast<int>(loop_.size());
  joined.resize(BitVector::Index{n} * n);
  for (int i = 0; i < n; ++i) loopPositions_[loop_[i].region.number()] = i;
  for (int i = 0; i < n; ++i)
    for (TopoMeshEdgeVertexIterator it(loop_[i].region); it.valid(); it.next()) {
      const TopoMeshVertex end = it.get().end();
      const int j = end.number() < loopPositions_.size() ? loopPositions_[end.number()] : -1;
      if (j >= 0 && it.get().twin() && end.onBoundary()) joined.setBit(BitVector::Index{n} * i + j);
    }
  for (const LoopVertex& v : loop_) loopPositions_[v.region.number()] = -1;
}

// Whether no half-edge of the new faces exists or would be made twice, which a loop that meets itself may ask
// for.
bool Alg::mayCreateFaces(qv::vector<int> const& triangles) const {
  qv::vector<std::pair<TopoMeshVertex, TopoMeshVertex>> edges;
  edges.reserve(triangles.size());
  for (std::size_t t = 0; t < triangles.size(); t += 3) {
    const TopoMeshVertex a = loop_[triangles[t]].region;
    const TopoMeshVertex b = loop_[triangles[t + 1]].region;
    const TopoMeshVertex c = loop_[triangles[t + 2]].region;
    for (const auto& [start, end] : {std::pair(b, a), std::pair(a, c), std::pair(c, b)}) {
      if (start == end || topo_->findEdge(start, end)) return false;
      edges.emplace_back(start, end);
    }
  }
  std::sort(edges.begin(), edges.end());
  return std::adjacent_find(edges.begin(), edges.end()) == edges.end();
}

void Alg::createFaces(qv::vector<int> const& triangles) {
  faces_.clear();
  for (std::size_t t = 0; t < triangles.size(); t += 3)
    // The loop runs along its edges, so the other side runs against it.
    faces_.push_back(topo_->allocTriangle(loop_[triangles[t + 1]].region, loop_[triangles[t]].region,
                                          loop_[triangles[t + 2]].region));
  joinFaces();
}

// What meshTwin would do.
void Alg::joinFaces() {
  if (std::exchange(earsRemoved_, false)) {
    meshTwin(*topo_);
    return;
  }
  // No two half-edges were left to be paired, and of each new one there is no other, nor was there: it takes
  // the oldest that runs against it, which is open.
  for (const TopoMeshFace face : faces_)
    for (const TopoMeshEdge e : {face.firstEdge(), face.firstEdge().next(), face.firstEdge().prev()})
      if (!e.twin()) topo_->setTwins(e, topo_->findEdge(e.end(), e.start()));
}

// ---- the patch ----

Alg::Outcome Alg::workOut(qvUtil::Progress& phase) {
  qvUtil::Progress patchPhase;
  phase.subPhase(sharesOf(quality_).patch, patchPhase);
  for (const LoopVertex& v : loop_) scale_[v.region.number()] = meanEdgeLength(v.mesh);
  HolePatch patch(*topo_, faces_, scale_, progress_);
  if (!patch.refine() || progress_.cancelled()) return Outcome::cancelled;
  if (quality_ != HoleQualityRefine && (!patch.fair(patchPhase) || progress_.cancelled()))
    return Outcome::cancelled;
  patchPhase.set(1);
  return Outcome::filled;
}

// In the mesh as it came.
double Alg::meanEdgeLength(int v) const {
  const int n = adjVertices_.numAdjVertices(v);
  if (n == 0) return 0;
  const Point p = mesh_.getVertices()[v].asPoint();
  double sum = 0;
  for (int i = 0; i < n; ++i)
    sum += distance(p, mesh_.getVertices()[adjVertices_.vertexIndices(v)[i]].asPoint());
  return sum / n;
}

}  // namespace
}  // namespace qvGeom
