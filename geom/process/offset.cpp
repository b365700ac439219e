#include "geom/process/offset.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>

#include "geom/edit/edge_swap.h"
#include "geom/model/keel/containers.h"
#include "geom/model/keel/reference.h"
#include "geom/model/keel/tolerances.h"
#include "geom/model/keel/vectors.h"
#include "geom/model/trellis/topo_mesh.h"
#include "geom/spatial/closest_point.h"
#include "geom/topology/adjacency.h"
#include "geom/topology/deletion.h"
#include "geom/topology/normals.h"
#include "geom/topology/region.h"
#include "geom/topology/selection.h"
#include "geom/topology/twins.h"

namespace qvGeom {

using qvLinear::Normal;
using qvLinear::Point;
using qvLinear::Vector;

namespace {

Normal normalOf(TopoMeshFace face) {
  const TopoMeshEdge e = face.firstEdge();
  return triNormal(e.start().point(), e.next().start().point(), e.prev().start().point());
}

bool isFinite(const Point& p) { return std::isfinite(p[0]) && std::isfinite(p[1]) && std::isfinite(p[2]); }

double largestCoordinate(const Point& p) {
  return std::max({std::fabs(p[0]), std::fabs(p[1]), std::fabs(p[2])});
}

// Makes room for a vertex to be deleted, and mends the triangulation where it was. Tells which vertices have
// other faces around them since.
class FanRemover {
 public:
  // The numbers of vertices begin with `firstNumber`.
  FanRemover(TopoMesh& mesh, MeshModifyRep& region, std::uint64_t firstNumber, std::size_t numVertices)
      : mesh_(mesh), region_(region), firstNumber_(firstNumber), changed_(numVertices, 1) {}

  // Swaps made for nothing stay. @return whether x is gone
  bool remove(TopoMeshVertex x) {
    if (!reduceToThree(x) || !mesh_.canDeleteVertex(x)) return false;
    region_.removeVertex(x);
    const TopoMeshFace filled = mesh_.deleteVertex(x);
    TopoMeshEdge e = filled.firstEdge();
    for (int i = 0; i < 3; ++i, e = e.next()) markChanged(e.start());
    relax();
    return true;
  }

  // Whether the faces around vertex i have changed since it was asked last; true at first.
  bool takeChanged(std::size_t i) { return std::exchange(changed_[i], char{0}) != 0; }

 private:
  void markChanged(TopoMeshVertex x) {
    const std::uint64_t i = x.number() - firstNumber_;
    if (i < changed_.size()) changed_[static_cast<std::size_t>(i)] = 1;
  }

  bool swap(TopoMeshEdge e) {
    if (!mesh_.swapEdge(e)) return false;
    for (const TopoMeshEdge side : {e, e.twin()}) {
      markChanged(side.start());
      markChanged(side.prev().start());
    }
    return true;
  }

  bool reduceToThree(TopoMeshVertex x) {
    swapped_.clear();
    int valence = x.valence();
    for (TopoMeshEdgeVertexIterator it(x); valence >= 4 && it.valid();) {
      const TopoMeshEdge e = it.get();
      it.next();  // before e turns away from x
      if (!e.twin() || !swap(e)) continue;
      swapped_.push_back(e);
      --valence;
    }
    return valence == 3;
  }

  // Swaps among the edges that were swapped before, as long as angles improve.
  void relax() {
    queue_ = swapped_;
    std::sort(swapped_.begin(), swapped_.end());
    // In space no measure falls with every swap, so that an end has to be made.
    const std::size_t most = std::size_t{MeshEdgeSwapper::kMaxSweeps} * swapped_.size();
    for (std::size_t i = 0; i < queue_.size() && i < most; ++i) {
      const TopoMeshEdge e = queue_[i];
      bool veto = false;
      MeshEdgeSwapper::minimizeOppositeAngleSum(e, veto);
      if (veto || !swap(e)) continue;
      for (const TopoMeshEdge side : {e, e.twin()})
        for (const TopoMeshEdge beside : {side.next(), side.prev()})
          if (std::binary_search(swapped_.begin(), swapped_.end(), beside)) queue_.push_back(beside);
    }
  }

  TopoMesh& mesh_;
  MeshModifyRep& region_;
  std::uint64_t firstNumber_;
  qv::vector<char> changed_;
  qv::vector<TopoMeshEdge> swapped_;
  qv::vector<TopoMeshEdge> queue_;
};

}  // namespace

class MeshOffsetImpl final : public qv::ImplBase {
 public:
  MeshOffsetImpl(const CompactMesh& mesh, const Octree& octree, const MeshBoundaries& boundaries,
                 const MeshAdjTris& adjTris, double distance)
      : mesh_(mesh), octree_(octree), boundaries_(boundaries), adjTris_(adjTris), distance_(distance) {}

  bool isUsable() const;

  const CompactMesh& mesh_;
  const Octree& octree_;
  const MeshBoundaries& boundaries_;
  const MeshAdjTris& adjTris_;
  double distance_;
};

bool MeshOffsetImpl::isUsable() const {
  const int n = mesh_.getNumVertices();
  if (!std::isfinite(distance_) || octree_.getNumPoints() != n || adjTris_.getNumVertices() != n)
    return false;
  for (int i = 0; i < boundaries_.size(); ++i)
    if (!std::all_of(boundaries_.getStart(i), boundaries_.getEnd(i), [n](int v) { return v >= 0 && v < n; }))
      return false;
  return true;
}

namespace {

// One calculation. The half-edge mesh holds the input first, then a moved vertex for each of its vertices, in
// the same order: their numbers tell which is which.
class Alg {
 public:
  explicit Alg(const MeshOffsetImpl& in)
      : in_(in),
        numVertices_(static_cast<std::size_t>(in.mesh_.getNumVertices())),
        copy_(std::make_unique<CompactMesh>(in.mesh_.getNumVertices(), in.mesh_.getVertices(), nullptr,
                                            nullptr, nullptr)) {
    copy_->copyTriangles(in.mesh_.getNumTriangles(), in.mesh_.getTrianglesRaw());
  }

  // The shell without normals; null when a vertex leaves the range of a float.
  std::unique_ptr<CompactMesh> run(Array<int>& vertexMap, Array<int>* offsetVertices) {
    BitVector triangles(in_.mesh_.getNumTriangles());
    BitVector vertices(in_.mesh_.getNumVertices());
    triangles.setAllBits();
    vertices.setAllBits();
    MeshModifyRep region(*copy_, triangles, vertices, in_.adjTris_);
    TopoMesh& shell = region.extract();
    recordInput(region);
    if (!placeMoved(shell)) return nullptr;
    addMovedTriangles(shell);
    addWalls(shell);
    meshTwin(shell);
    clean(shell, region);
    merge(region, vertexMap, offsetVertices);
    return std::move(copy_);
  }

 private:
  void recordInput(const MeshModifyRep& region);
  bool placeMoved(TopoMesh& shell);
  void addMovedTriangles(TopoMesh& shell);
  void addWalls(TopoMesh& shell);
  void clean(TopoMesh& shell, MeshModifyRep& region);
  bool isTooNear(TopoMeshVertex moved) const;
  bool isFolded(std::size_t v) const;
  void merge(MeshModifyRep& region, Array<int>& vertexMap, Array<int>* offsetVertices) const;

  bool isOnBoundary(TopoMeshVertex x) const {
    return x.number() < onBoundary_.size() && onBoundary_[static_cast<std::size_t>(x.number())] != 0;
  }

  const MeshOffsetImpl& in_;
  std::size_t numVertices_;
  std::unique_ptr<CompactMesh> copy_;
  qv::vector<TopoMeshVertex> original_;  // [V], as the following
  qv::vector<TopoMeshVertex> moved_;
  qv::vector<MeshNormal> directions_;
  qv::vector<char> alive_;
  qv::vector<char> onBoundary_;  // by number of the original vertex
};

void Alg::recordInput(const MeshModifyRep& region) {
  original_.reserve(numVertices_);
  for (int v = 0; v < in_.mesh_.getNumVertices(); ++v) original_.push_back(region.getTopoMeshVertex(v));
}

// @param normals by number of the face
Normal offsetDirection(TopoMeshVertex x, const qv::vector<Normal>& normals) {
  const auto normalAt = [&](TopoMeshEdge e) -> const Normal& {
    return normals[static_cast<std::size_t>(e.face().number())];
  };
  TopoMeshEdgeVertexIterator it(x);
  if (!it.valid()) return Normal(0, 0, 1);
  const Normal first = normalAt(it.get());
  Vector sum;
  for (; it.valid(); it.next()) {
    const TopoMeshEdge e = it.get();
    if (!e.twin()) continue;
    const Normal& m1 = normalAt(e);
    const Normal& m2 = normalAt(e.twin());
    const double theta = qvLinear::angle(m1, m2);
    sum += theta * m1 + theta * m2;
  }
  return length(sum) < qvLinear::epsilonTol ? first : Normal(sum);
}

// @return false when a position has no float, though that which it came from has
bool Alg::placeMoved(TopoMesh& shell) {
  qv::vector<Normal> normals(static_cast<std::size_t>(shell.numFaces()) + 1);
  for (TopoMeshFace face = shell.firstFace(); face; face = face.nextInMesh())
    normals[static_cast<std::size_t>(face.number())] = normalOf(face);
  moved_.reserve(numVertices_);
  directions_.resize(numVertices_);
  alive_.assign(numVertices_, 1);
  for (std::size_t v = 0; v < numVertices_; ++v) {
    const Normal direction = offsetDirection(original_[v], normals);
    directions_[v].set(direction.data());
    // By the direction in double: that in float would leave half of the vertices nearer than the distance.
    const Point& from = original_[v].point();
    const Point to = from - in_.distance_ * direction;
    if (isFinite(from) && largestCoordinate(to) > double{std::numeric_limits<float>::max()}) return false;
    moved_.push_back(shell.allocVertex(to));
  }
  return true;
}

void Alg::addMovedTriangles(TopoMesh& shell) {
  const auto moved = [this](int v) { return moved_[static_cast<std::size_t>(v)]; };
  MeshTriangle const* const triangles = in_.mesh_.getTriangles();
  for (int t = 0; t < in_.mesh_.getNumTriangles(); ++t)
    shell.allocTriangle(moved(triangles[t][2]), moved(triangles[t][1]), moved(triangles[t][0]));
}

void Alg::addWalls(TopoMesh& shell) {
  onBoundary_.assign(numVertices_ + 1, 0);
  const MeshBoundaries& boundaries = in_.boundaries_;
  for (int loop = 0; loop < boundaries.size(); ++loop) {
    int const* const vertices = boundaries.getStart(loop);
    const int length = boundaries.getLength(loop);
    for (int k = 0; k < length; ++k) {
      const std::size_t i = static_cast<std::size_t>(vertices[k]);
      const std::size_t j = static_cast<std::size_t>(vertices[k + 1 < length ? k + 1 : 0]);
      onBoundary_[static_cast<std::size_t>(original_[i].number())] = 1;
      shell.allocTriangle(original_[j], original_[i], moved_[i]);
      shell.allocTriangle(moved_[i], moved_[j], original_[j]);
    }
  }
}

void Alg::clean(TopoMesh& shell, MeshModifyRep& region) {
  if (numVertices_ == 0) return;
  FanRemover remover(shell, region, moved_[0].number(), numVertices_);
  qv::vector<std::size_t> pending;
  for (std::size_t v = 0; v < numVertices_; ++v)
    if (isTooNear(moved_[v]) && remover.remove(moved_[v]))
      alive_[v] = 0;
    else
      pending.push_back(v);
  // Whether a vertex is beside a fold depends on its faces alone: it is asked again only when they change.
  for (bool removed = pending.size() < numVertices_; removed;) {
    removed = false;
    std::size_t numKept = 0;
    for (const std::size_t v : pending) {
      if (!remover.takeChanged(v) || !isFolded(v)) {
        pending[numKept++] = v;
      } else if (remover.remove(moved_[v])) {
        alive_[v] = 0;
        removed = true;
      }  // else it stays, and is not tried again
    }
    pending.resize(numKept);
  }
}

bool Alg::isTooNear(TopoMeshVertex moved) const {
  const double distance = std::fabs(in_.distance_);
  const double distance2 = distance * distance;
  // A vertex on its own is as far as the distance from where it was, but for rounding; without this large
  // distances, or a place far from the origin, would cost half of the vertices.
  constexpr double kRounding = 16 * std::numeric_limits<double>::epsilon();
  const double tolerance =
      qvLinear::epsilonTol + kRounding * distance * (largestCoordinate(moved.point()) + distance);
  const double nearest2 =
      meshClosestVertex2(in_.mesh_, in_.octree_, moved.point(), distance2 - 2 * tolerance);
  return distance2 - nearest2 > tolerance;
}

// Whether a face around it, but for those of walls, looks the way of the input.
bool Alg::isFolded(std::size_t v) const {
  const Vector direction = directions_[v].asVector();
  for (TopoMeshEdgeVertexIterator it(moved_[v]); it.valid(); it.next()) {
    const TopoMeshEdge e = it.get();
    if (isOnBoundary(e.start()) || isOnBoundary(e.end()) || isOnBoundary(e.prev().start())) continue;
    if (dot(direction, normalOf(e.face())) > 0) return true;
  }
  return false;
}

void Alg::merge(MeshModifyRep& region, Array<int>& vertexMap, Array<int>* offsetVertices) const {
  ArrayMap<TopoMeshVertex, int> numbers;
  region.merge(vertexMap, offsetVertices ? &numbers : nullptr);
  vertexMap.resize(in_.mesh_.getNumVertices());
  if (!offsetVertices) return;
  offsetVertices->resize(in_.mesh_.getNumVertices());
  for (std::size_t v = 0; v < numVertices_; ++v)
    (*offsetVertices)[static_cast<int>(v)] = alive_[v] ? numbers.find(moved_[v]) : -1;
}

// Deletes everything that touches a vertex of the input, which leaves the moved triangles.
void deleteInput(CompactMesh& shell, const Array<int>& vertexMap) {
  MeshAdjTris adjTris;
  meshAdjTris(shell, adjTris);
  MeshSelect select(shell, adjTris);
  for (const int v : vertexMap) select.getSelectedVertices().setBit(v);
  const BitVector fromInput = select.getSelectedVertices();
  select.selectAllTrianglesFromVertices();
  select.selectVerticesFromTriangles();
  select.getSelectedVertices() |= fromInput;  // those without triangles
  MeshDeleteSelected deleteSelected(shell);
  deleteSelected();
  shell.clearSelection();  // without triangles nothing was deleted
}

}  // namespace

MeshOffset::MeshOffset(const CompactMesh& mesh, const Octree& octree, const MeshBoundaries& boundaries,
                       const MeshAdjTris& adjTris, double distance)
    : impl_(std::make_unique<MeshOffsetImpl>(mesh, octree, boundaries, adjTris, distance)) {}
MeshOffset::~MeshOffset() = default;

CompactMesh* MeshOffset::calculate(bool shell) {
  if (!impl_->isUsable()) return nullptr;
  Array<int> vertexMap;
  std::unique_ptr<CompactMesh> result = Alg(*impl_).run(vertexMap, nullptr);
  if (!result) return nullptr;
  if (!shell) deleteInput(*result, vertexMap);
  meshComputeNormals(*result);
  return result.release();
}

CompactMesh* MeshOffset::calculate(Array<int>& vertexMap, Array<int>& offsetVertices) {
  if (!impl_->isUsable()) return nullptr;
  std::unique_ptr<CompactMesh> result = Alg(*impl_).run(vertexMap, &offsetVertices);
  if (!result) return nullptr;
  meshComputeNormals(*result);
  return result.release();
}

}  // namespace qvGeom
