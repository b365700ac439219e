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
#include "geom/model/keel/values.h"
#include "geom/spatial/closest_heap.h"
#include "geom/spatial/voxel_boxes.h"
#include "geom/spatial/walk_tree.h"
#include "geom/topology/measures.h"

namespace qvGeom {

using qvLinear::Point;
using qvLinear::PointFlt;
using qvUtil::Float4;

namespace {

constexpr double kFarthest = std::numeric_limits<double>::max();

// The nearest point of floats, for the distances of boxes. Every box lies within the range of floats, so that
// a point beyond is farther from it than this one is: the distance stays a lower bound.
PointFlt rounded(Point p) {
  for (int k = 0; k < 3; ++k) p[k] = qvUtil::withinFloats(p[k]);
  return PointFlt(p);
}

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
  impl_->p = rounded(p);
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

namespace {

// Lower bounds of the distance to four triangles at a time, in single precision with a margin for its
// rounding.
class DistanceFilter {
 public:
  void aim(const Point& p) {
    const PointFlt q(p);
    for (int k = 0; k < 3; ++k) p_[k] = Float4(q[k]);
    // Bounds the rounding of the point; differences of floats add no more than their own last bit.
    margin_ = 2.5e-7f * std::max({std::fabs(q[0]), std::fabs(q[1]), std::fabs(q[2])});
  }

  // Bit k: triangle k may be nearer than `best`. NaN rules nothing out.
  unsigned mayBeNearer(float best, float const* vertices, int const* triangles, const int (&four)[4]) const {
    Float4 a[3], b[3], c[3];
    gatherCorner(vertices, triangles, four, 0, a);
    gatherCorner(vertices, triangles, four, 1, b);
    gatherCorner(vertices, triangles, four, 2, c);
    Float4 ab[3], ac[3], ap[3], bc[3], bp[3], n[3], m[3];
    Float4 size;
    for (int k = 0; k < 3; ++k) {
      ab[k] = b[k] - a[k];
      ac[k] = c[k] - a[k];
      bc[k] = c[k] - b[k];
      ap[k] = p_[k] - a[k];
      bp[k] = p_[k] - b[k];
      size = size + (abs(ab[k]) + abs(ac[k]) + abs(ap[k]));
    }
    cross(ab, ac, n);
    const Float4 nn = dot(n, n);
    const Float4 abab = dot(ab, ab), acac = dot(ac, ac);
    // Sides that the point is outside of; within the prism over the triangle its plane is nearest.
    cross(n, ab, m);
    const Float4 outsideAb = dot(m, ap);
    cross(ac, n, m);
    const Float4 outsideAc = dot(m, ap);
    cross(n, bc, m);
    const Float4 outsideBc = dot(m, bp);
    const Float4 within = (outsideAb >= Float4()) & (outsideAc >= Float4()) & (outsideBc >= Float4());
    const Float4 height = dot(n, ap);
    const Float4 toPlane2 = height * height / nn;
    const Float4 toSides2 =
        min(min(toSide2(ap, ab, abab), toSide2(ap, ac, acac)), toSide2(bp, bc, dot(bc, bc)));
    const Float4 bound = Float4(best + margin_) + Float4(1e-5f) * size;
    const Float4 isFar = select(within, toPlane2, toSides2) > bound * bound * Float4(1.001f);
    // The normal of a sliver is nothing but rounding.
    const Float4 isReliable = nn > Float4(1e-4f) * abab * acac;
    return ~static_cast<unsigned>(signBits(isFar & isReliable)) & 15u;
  }

  float margin() const { return margin_; }

 private:
  static void gatherCorner(float const* vertices, int const* triangles, const int (&four)[4], int corner,
                           Float4 (&xyz)[3]) {
    const auto at = [&](int tri) {
      return vertices + std::ptrdiff_t{3} * triangles[std::ptrdiff_t{3} * tri + corner];
    };
    gatherPoints(at(four[0]), at(four[1]), at(four[2]), at(four[3]), xyz);
  }
  static Float4 toSide2(const Float4 (&ap)[3], const Float4 (&ab)[3], Float4 abab) {
    const Float4 t = max(min(dot(ap, ab) / abab, Float4(1)), Float4());
    Float4 sum;
    for (int k = 0; k < 3; ++k) {
      const Float4 d = ap[k] - t * ab[k];
      sum = sum + d * d;
    }
    return sum;
  }

  Float4 p_[3];
  float margin_ = 0;
};

}  // namespace

// Walks the voxels that hold triangles in the order of OctreeClosestIt, and leaves out what lies beyond the
// best so far. Within a voxel most triangles are ruled out by their boxes, then by a lower bound of their
// distance, both four at a time; those that are left are measured in double.
class MeshClosestPoint::Context : public qv::ImplBase {
 public:
  Context(CompactMesh const& mesh, Octree const& octree, OctreeTris const& octreeTris)
      : mesh_(mesh),
        tree_(octree, octreeTris, mesh.getNumTriangles()),
        boxes_(octree, octreeTris, &mesh, VoxelBoxes::Extent::wholeTriangle) {}

  double compute(const Point& p, MeshCoord* coord) {
    best2_ = kFarthest;
    bound_ = std::numeric_limits<float>::infinity();
    if (tree_.getRoot() == WalkTree::kNone || !isFinite(p)) return std::sqrt(best2_);
    vertices_ = mesh_.getVerticesRaw();
    triangles_ = mesh_.getTrianglesRaw();
    p_ = p;
    filter_.aim(p);
    coord_ = coord;
    heap_.clear();
    heap_.push(0, tree_.getRoot());
    while (!heap_.empty() && heap_.top().distance2 < best2_) {
      int node = heap_.top().node;
      heap_.pop();
      while (node != WalkTree::kNone && !WalkTree::isVoxel(node)) node = expand(tree_[node]);
      if (!heap_.empty() && WalkTree::isVoxel(heap_.top().node))
        boxes_.prefetchGroups(WalkTree::voxelOf(heap_.top().node));
      if (node != WalkTree::kNone) measureVoxel(WalkTree::voxelOf(node));
    }
    return std::sqrt(best2_);
  }

 private:
  // Triangles on their way from the boxes to the distances, in list order.
  struct Waiting {
    int tri[4];
    int count = 0;
  };

  // Of squares near the largest double the root is far beyond floats: infinity then rules nothing out.
  static float rootRoundedUp(double d2) { return static_cast<float>(std::sqrt(d2) * 1.000001); }

  void setBest(double d2) {
    best2_ = d2;
    bound_ = std::min(bound_, rootRoundedUp(d2));
  }

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
    const float middle = node.middle(k);
    return {{square(node.lower[k], middle), square(middle, node.upper[k])}};
  }

  // Puts the children on the heap, but for the one that would be taken off next: that is returned, if there
  // is one.
  int expand(const WalkTree::Node& node) {
    const Halves x = halves(node, 0);
    const Halves y = halves(node, 1);
    const Halves z = halves(node, 2);
    int nearest = WalkTree::kNone;
    double nearest2 = best2_;
    std::uint32_t nearestOrder = 0;
    for (int c = 0; c < 8; ++c) {
      int child = node.children[c];
      if (child == WalkTree::kNone) continue;
      double d2 = x.distance2[c & 1] + y.distance2[c >> 1 & 1] + z.distance2[c >> 2];
      if (!(d2 < best2_)) continue;
      if (WalkTree::isVoxel(child)) boxes_.prefetch(WalkTree::voxelOf(child));
      std::uint32_t order = heap_.next();
      if (d2 < nearest2) {
        std::swap(d2, nearest2);
        std::swap(child, nearest);
        std::swap(order, nearestOrder);
      }
      if (child != WalkTree::kNone) heap_.pushAs(d2, child, order);
    }
    // Of equals the one on the heap is older.
    if (nearest == WalkTree::kNone || heap_.empty() || nearest2 < heap_.top().distance2) return nearest;
    heap_.pushAs(nearest2, nearest, nearestOrder);
    return WalkTree::kNone;
  }

  void measureVoxel(int voxel) {
    const VoxelBoxes::Voxel& frame = boxes_.get(voxel);
    VoxelBoxes::Group const* group = boxes_.groups(voxel);
    int const* list = boxes_.triangles(frame);
    const int count = frame.count;
    qvUtil::prefetch(list);
    aimAt(frame);
    if (best2_ == kFarthest) lookAhead(list, count, group);
    Waiting waiting;
    for (int i = 0; i < count; i += 4, ++group) {
      unsigned near = nearOnes(*group) & ((2u << std::min(3, count - 1 - i)) - 1);
      for (int k = i; near != 0; ++k, near >>= 1) {
        if (!(near & 1)) continue;
        waiting.tri[waiting.count++] = list[k];
        if (waiting.count == 4) measure(waiting);
      }
    }
    measure(waiting);
  }

  void aimAt(const VoxelBoxes::Voxel& frame) {
    for (int k = 0; k < 3; ++k) {
      step_[k] = Float4(frame.step[k]);
      offset_[k] = Float4(static_cast<float>(p_[k] - static_cast<double>(frame.origin[k])));
    }
  }

  // In the first voxel, bounds the answer by the triangle whose box is nearest, so that not every other one
  // before it in the list has to be measured. It is measured again when its turn comes: the first of equals
  // has to stay.
  void lookAhead(int const* list, int count, VoxelBoxes::Group const* group) {
    int nearest = list[0];
    float nearest2 = std::numeric_limits<float>::infinity();
    for (int i = 0; i < count; i += 4, ++group) {
      float distances2[4];
      boxDistances2(*group).store(distances2);
      for (int k = 0; k < 4 && i + k < count; ++k)
        if (distances2[k] < nearest2) {
          nearest2 = distances2[k];
          nearest = list[i + k];
        }
    }
    const MeshCoord coord = meshTriClosestPt(vertices_, triangles_, nearest, p_);
    if (coord.valid()) bound_ = rootRoundedUp(distance2(coord.evaluate(vertices_, triangles_), p_));
  }

  // Squared, and less a margin for rounding.
  Float4 boxDistances2(const VoxelBoxes::Group& group) const {
    Float4 sum;
    const Float4 margin(filter_.margin());
    for (int k = 0; k < 3; ++k) {
      const Float4 below = Float4::fromBytes(group.lower[k]) * step_[k] - offset_[k];
      const Float4 above = offset_[k] - Float4::fromBytes(group.upper[k]) * step_[k];
      const Float4 gap = max(Float4(), max(below, above) - margin);
      sum = sum + gap * gap;
    }
    return sum;
  }
  // Bit k: the box of triangle k is nearer than the best. NaN rules nothing out.
  unsigned nearOnes(const VoxelBoxes::Group& group) const {
    return ~static_cast<unsigned>(signBits(boxDistances2(group) > Float4(bound_ * bound_ * 1.00001f))) & 15u;
  }

  void measure(Waiting& waiting) {
    if (waiting.count == 0) return;
    for (int k = waiting.count; k < 4; ++k) waiting.tri[k] = waiting.tri[0];
    const unsigned all = (1u << waiting.count) - 1;
    // Two squares of a bound this large, and their error, still are floats.
    unsigned near =
        bound_ < 1e18f ? filter_.mayBeNearer(bound_, vertices_, triangles_, waiting.tri) & all : all;
    for (int k = 0; near != 0; ++k, near >>= 1)
      if (near & 1) measure(waiting.tri[k]);
    waiting.count = 0;
  }

  void measure(int tri) {
    const MeshCoord coord = meshTriClosestPt(vertices_, triangles_, tri, p_);
    if (!coord.valid()) return;
    const double d2 = distance2(coord.evaluate(vertices_, triangles_), p_);
    if (!(d2 < best2_)) return;
    setBest(d2);
    if (coord_) *coord_ = coord;
  }

  CompactMesh const& mesh_;
  WalkTree tree_;
  VoxelBoxes boxes_;
  ClosestHeap heap_;

  // Of the query under way.
  float const* vertices_ = nullptr;
  int const* triangles_ = nullptr;
  Point p_;
  DistanceFilter filter_;
  double best2_ = 0;
  float bound_ = 0;  // on the distance of the answer, rounded up
  MeshCoord* coord_ = nullptr;

  // And of the voxel.
  Float4 step_[3];
  Float4 offset_[3];  // from the origin of the frame to the point
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
        rounded_(rounded(p)),
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
  // Corners within this are looked at whatever was found: a triangle may be near inside and far at its
  // corners.
  const double r = longestEdge / 1.4142135623730951;
  return VertexSearch(mesh, adjTris, p, limit2, r * r, vertexBoxes, coord).run(octree);
}

double meshClosestPoint(CompactMesh const& mesh, Octree const& octree, MeshAdjTris const& adjTris,
                        const Point& p, MeshCoord* coord) {
  return meshClosestPoint(mesh, octree, adjTris, p, meshLongestEdge(mesh), kFarthest, nullptr, coord);
}

double meshClosestVertex2(CompactMesh const& mesh, Octree const& octree, const Point& p) {
  return meshClosestVertex2(mesh, octree, p, -1);
}

double meshClosestVertex2(CompactMesh const& mesh, Octree const& octree, const Point& p, double enough2) {
  qvOS::StopWatch watch;
  watch.start();
  double best2 = kFarthest;
  MeshVertex const* vertices = mesh.getVertices();
  if (belongTogether(mesh, octree) && isFinite(p)) {
    for (OctreeClosestIt it(octree, p); it.valid(); it.next()) {
      if (it.getDistance2() >= best2 || best2 <= enough2) break;
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
