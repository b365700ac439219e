#include "geom/spatial/closest_point.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>

#include "geom/model/keel/channels.h"
#include "geom/model/keel/lanes.h"
#include "geom/model/keel/reference.h"
#include "geom/model/keel/stop_watch.h"
#include "geom/model/keel/tolerances.h"
#include "geom/model/keel/visit_stamps.h"
#include "geom/spatial/closest_heap.h"
#include "geom/spatial/walk_tree.h"
#include "geom/topology/measures.h"

namespace qvGeom {

using qvLinear::Point;
using qvLinear::PointFlt;
using qvUtil::Float4;

namespace {

constexpr double kFarthest = std::numeric_limits<double>::max();

bool isFinite(const Point& p) { return std::isfinite(p[0]) && std::isfinite(p[1]) && std::isfinite(p[2]); }

}  // namespace

struct OctreeClosestIt::Impl {
  // Leaves the frontier with a leaf on top, or empty.
  void descendToLeaf() {
    const qv::vector<Octree::Node>& nodes = octree->getNodes();
    while (!heap.empty()) {
      const Octree::Node& node = nodes[static_cast<std::size_t>(heap.top().node)];
      if (node.leaf >= 0) return;
      heap.pop();
      for (int c = 0; c < 8; ++c) {
        if (!node.hasChild(c)) continue;
        const int child = node.childIndex(c);
        heap.push(nodes[static_cast<std::size_t>(child)].box.distance2(p), child);
      }
    }
  }

  Octree const* octree = nullptr;
  PointFlt p;
  ClosestHeap heap;
};

OctreeClosestIt::OctreeClosestIt() = default;
OctreeClosestIt::OctreeClosestIt(const Octree& octree, const Point& p) { reset(octree, p); }
OctreeClosestIt::~OctreeClosestIt() = default;

void OctreeClosestIt::reset(const Octree& octree, const Point& p) {
  if (!impl_) impl_ = std::make_unique<Impl>();
  impl_->octree = &octree;
  impl_->p = PointFlt(p);
  impl_->heap.clear();
  impl_->heap.push(octree.getRoot().distance2(impl_->p), 0);
  impl_->descendToLeaf();
}

bool OctreeClosestIt::valid() const { return impl_ && !impl_->heap.empty(); }
OctreeIterator OctreeClosestIt::get() const { return impl_->octree->getNode(impl_->heap.top().node); }
double OctreeClosestIt::getDistance2() const { return impl_->heap.top().distance2; }
void OctreeClosestIt::next() {
  impl_->heap.pop();
  impl_->descendToLeaf();
}

// Walks the voxels that hold triangles in the order of OctreeClosestIt, and leaves out what lies beyond the
// best so far. Within a voxel most triangles are ruled out four at a time by their boxes, in single precision
// with a margin for its rounding; those that are left are measured in double.
class MeshClosestPoint::Context : public qv::ImplBase {
 public:
  Context(CompactMesh const& mesh, Octree const& octree, OctreeTris const& octreeTris)
      : mesh_(mesh),
        octreeTris_(octreeTris),
        tree_(octree, octreeTris, mesh.getNumTriangles()),
        visited_(static_cast<std::size_t>(mesh.getNumTriangles())) {}

  double compute(const Point& p, MeshCoord* coord) {
    best2_ = kFarthest;
    if (tree_.getRoot() == WalkTree::kNone || !isFinite(p)) return std::sqrt(best2_);
    vertices_ = mesh_.getVerticesRaw();
    triangles_ = mesh_.getTrianglesRaw();
    p_ = p;
    rounded_ = PointFlt(p);
    coord_ = coord;
    // Bounds the rounding of the point; differences of floats add no more than their own last bit.
    margin_ = 2.5e-7f * std::max({std::fabs(rounded_[0]), std::fabs(rounded_[1]), std::fabs(rounded_[2])});

    heap_.clear();
    heap_.push(0, tree_.getRoot());
    while (!heap_.empty() && heap_.top().distance2 < best2_) {
      const int node = heap_.top().node;
      heap_.pop();
      if (WalkTree::isVoxel(node)) {
        measureVoxel(WalkTree::voxelOf(node));
      } else {
        pushChildren(tree_[node]);
      }
    }
    visited_.next();
    return std::sqrt(best2_);
  }

 private:
  // Squares of the distances from the point to the two halves of an axis; summed over the axes they are those
  // of the children's boxes. Taken from the point as it is: rounded to single precision it may lie farther
  // from a box than it is from a triangle in it.
  struct Halves {
    double distance2[2];
  };
  Halves halves(const WalkTree::Node& node, int k) const {
    const double x = p_[k];
    const auto square = [x](float lower, float upper) {
      const double d = std::max({static_cast<double>(lower) - x, x - static_cast<double>(upper), 0.0});
      return d * d;
    };
    return {{square(node.lower[k], node.middle[k]), square(node.middle[k], node.upper[k])}};
  }

  void pushChildren(const WalkTree::Node& node) {
    const Halves x = halves(node, 0);
    const Halves y = halves(node, 1);
    const Halves z = halves(node, 2);
    for (int c = 0; c < 8; ++c) {
      if (node.children[c] == WalkTree::kNone) continue;
      const double d2 = x.distance2[c & 1] + y.distance2[c >> 1 & 1] + z.distance2[c >> 2];
      if (d2 < best2_) heap_.push(d2, node.children[c]);
    }
  }

  void measureVoxel(int voxel) {
    int const* list = octreeTris_.firstTri(voxel);
    const int count = octreeTris_.numTris(voxel);
    for (int i = 0; i < count; i += 4) {
      const int last = std::min(i + 3, count - 1);
      const int four[4] = {list[i], list[std::min(i + 1, last)], list[std::min(i + 2, last)], list[last]};
      unsigned near = nearOnes(four) & ((2u << (last - i)) - 1);
      for (int k = 0; near != 0; ++k, near >>= 1)
        if (near & 1) measure(four[k]);
    }
  }

  // Bit k: triangle k may be nearer than the best. NaN rules nothing out.
  unsigned nearOnes(const int (&four)[4]) const {
    if (!(best2_ < 1e37)) return 15;  // squares of floats may not reach that far
    Float4 corners[3][3];
    for (int c = 0; c < 3; ++c) {
      float const* at[4];
      for (int k = 0; k < 4; ++k)
        at[k] = vertices_ + std::ptrdiff_t{3} * triangles_[std::ptrdiff_t{3} * four[k] + c];
      gatherPoints(at[0], at[1], at[2], at[3], corners[c]);
    }
    Float4 sum;
    const Float4 margin(margin_);
    for (int k = 0; k < 3; ++k) {
      const Float4 x(rounded_[k]);
      const Float4 lower = min(min(corners[0][k], corners[1][k]), corners[2][k]);
      const Float4 upper = max(max(corners[0][k], corners[1][k]), corners[2][k]);
      const Float4 gap = max(max(lower - x, x - upper) - margin, Float4());
      sum = sum + gap * gap;
    }
    return ~static_cast<unsigned>(signBits(sum > Float4(static_cast<float>(best2_ * 1.000002)))) & 15u;
  }

  void measure(int tri) {
    if (visited_.seen(static_cast<std::size_t>(tri))) return;
    const MeshCoord coord = meshTriClosestPt(vertices_, triangles_, tri, p_);
    if (!coord.valid()) return;
    const double d2 = distance2(coord.evaluate(vertices_, triangles_), p_);
    if (!(d2 < best2_)) return;
    best2_ = d2;
    if (coord_) *coord_ = coord;
  }

  CompactMesh const& mesh_;
  OctreeTris const& octreeTris_;
  WalkTree tree_;
  qvUtil::VisitStamps visited_;
  ClosestHeap heap_;

  // Of the query under way.
  float const* vertices_ = nullptr;
  int const* triangles_ = nullptr;
  Point p_;
  PointFlt rounded_;
  float margin_ = 0;
  double best2_ = 0;
  MeshCoord* coord_ = nullptr;
};

MeshClosestPoint::MeshClosestPoint(CompactMesh const& mesh, Octree const& octree,
                                   OctreeTris const& octreeTris)
    : owned_(std::make_unique<Context>(mesh, octree, octreeTris)) {
  context_ = owned_.get();
}
MeshClosestPoint::MeshClosestPoint(const MeshClosestPoint& other) : context_(other.context_) {}
MeshClosestPoint::~MeshClosestPoint() = default;

double MeshClosestPoint::compute(const Point& p, MeshCoord* coord) { return context_->compute(p, coord); }

namespace {

// The search by way of the vertices. Every vertex stands in one leaf, so none is met twice; of the triangles,
// the last few are remembered, which spares most of the repeated measuring and needs no array over the mesh.
class VertexSearch {
 public:
  VertexSearch(CompactMesh const& mesh, MeshAdjTris const& adjTris, const Point& p, double limit2, double r2,
               BoundingBox const* vertexBoxes, MeshCoord* coord)
      : vertices_(mesh.getVerticesRaw()),
        triangles_(mesh.getTrianglesRaw()),
        adjTris_(adjTris),
        p_(p),
        rounded_(p),
        r2_(r2),
        vertexBoxes_(vertexBoxes),
        coord_(coord),
        best2_(limit2),
        stop2_(std::max(limit2, r2)) {
    recent_.fill(-1);
  }

  double run(Octree const& octree) {
    for (OctreeClosestIt it(octree, p_); it.valid(); it.next()) {
      if (it.getDistance2() >= stop2_) break;
      const OctreeIterator leaf = it.get();
      for (int i = 0; i < leaf.numPoints(); ++i) visitVertex(leaf.firstPoint()[i]);
    }
    return std::sqrt(best2_);
  }

 private:
  void visitVertex(int v) {
    if (!(starDistance2(v) < best2_)) return;
    int const* tris = adjTris_.triIndices(v);
    for (int i = 0; i < adjTris_.numTris(v); ++i)
      if (!isRecent(tris[i])) measure(tris[i]);
  }

  double starDistance2(int v) const {
    if (vertexBoxes_) return vertexBoxes_[v].distance2(rounded_);
    BoundingBox star;
    int const* tris = adjTris_.triIndices(v);
    for (int i = 0; i < adjTris_.numTris(v); ++i)
      for (int c = 0; c < 3; ++c)
        star.extend(vertices_ + std::ptrdiff_t{3} * triangles_[std::ptrdiff_t{3} * tris[i] + c]);
    return star.distance2(rounded_);
  }

  bool isRecent(int tri) {
    int& slot = recent_[static_cast<std::size_t>(tri) % recent_.size()];
    return std::exchange(slot, tri) == tri;
  }

  void measure(int tri) {
    const MeshCoord coord = meshTriClosestPt(vertices_, triangles_, tri, p_);
    if (!coord.valid()) return;
    const double d2 = distance2(coord.evaluate(vertices_, triangles_), p_);
    if (!(d2 < best2_)) return;
    best2_ = d2;
    if (coord_) *coord_ = coord;
    stop2_ = std::max(d2, r2_);
  }

  float const* vertices_;
  int const* triangles_;
  MeshAdjTris const& adjTris_;
  Point p_;
  PointFlt rounded_;
  double r2_;
  BoundingBox const* vertexBoxes_;
  MeshCoord* coord_;
  double best2_;
  double stop2_;
  std::array<int, 64> recent_;
};

// Vertex numbers in the octree must name vertices of the mesh, and of the record.
bool belongTogether(CompactMesh const& mesh, Octree const& octree) {
  return octree.getNumPoints() == mesh.getNumVertices();
}

}  // namespace

double meshClosestPoint(CompactMesh const& mesh, Octree const& octree, MeshAdjTris const& adjTris,
                        const Point& p, double longestEdge, double limit2, BoundingBox const* vertexBoxes,
                        MeshCoord* coord) {
  if (!belongTogether(mesh, octree) || adjTris.getNumVertices() != mesh.getNumVertices() || !isFinite(p))
    return std::sqrt(limit2);
  // A point of a triangle lies within this of one of its corners.
  const double r = longestEdge / 1.4142135623730951;
  return VertexSearch(mesh, adjTris, p, limit2, r * r, vertexBoxes, coord).run(octree);
}

double meshClosestPoint(CompactMesh const& mesh, Octree const& octree, MeshAdjTris const& adjTris,
                        const Point& p, MeshCoord* coord) {
  return meshClosestPoint(mesh, octree, adjTris, p, meshLongestEdge(mesh), kFarthest, nullptr, coord);
}

double meshClosestVertex2(CompactMesh const& mesh, Octree const& octree, const Point& p) {
  qvOS::StopWatch watch;
  watch.start();
  double best2 = kFarthest;
  MeshVertex const* vertices = mesh.getVertices();
  if (belongTogether(mesh, octree) && isFinite(p)) {
    for (OctreeClosestIt it(octree, p); it.valid(); it.next()) {
      if (it.getDistance2() >= best2) break;
      const OctreeIterator leaf = it.get();
      for (int i = 0; i < leaf.numPoints(); ++i) {
        const double d2 = distance2(vertices[leaf.firstPoint()[i]].asPoint(), p);
        if (d2 < best2) best2 = d2;
      }
    }
  }
  debugChannel().print("   meshClosestVertex: %f s\n", watch.clear());
  return best2;
}

MeshCoord meshTriClosestPt(float const* vertices, int const* triangles, int tri, const Point& p) {
  MeshCoord coord;
  coord.project(tri, vertices, triangles, p);
  return coord;
}

MeshCoord meshRayClosestPt(CompactMesh const& mesh, double longestEdge, Octree const& octree,
                           MeshAdjTris const& adjTris, const qvLinear::Line& line, const Point& p) {
  const qvLinear::Plane plane(p, qvLinear::Normal(line.direction));
  bool ok = false;
  const Point crossing = intersect(line, plane, ok, qvLinear::perpendicular2Tol);
  MeshCoord coord;
  meshClosestPoint(mesh, octree, adjTris, crossing, longestEdge, kFarthest, nullptr, &coord);
  return coord;
}

}  // namespace qvGeom
