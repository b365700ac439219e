#include "geom/spatial/quad_ray.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <limits>

#include "geom/model/keel/lanes.h"
#include "geom/model/keel/tolerances.h"
#include "geom/spatial/voxel_boxes.h"
#include "geom/spatial/walk_tree.h"

namespace qvGeom {

using qvLinear::PointFlt;
using qvLinear::VectorFlt;
using qvUtil::BitField32;
using qvUtil::Float4;

namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();

// Read by every packet without a lock: it is set before tracing starts.
std::atomic<float> cullDistance{qvLinear::epsilonTolFlt};

// Where the lanes cross a plane. NaN arises where the origin lies in a plane that a ray runs along, and then
// must bound nothing: `max` and `min` give their second operand there.
struct Crossing {
  Float4 asEntry;
  Float4 asExit;

  Crossing(float plane, float origin, Float4 inverse) {
    const Float4 t = (Float4(plane) - Float4(origin)) * inverse;
    asEntry = max(t, Float4(-kInfinity));
    asExit = min(t, Float4(kInfinity));
  }
};

struct Span {
  Float4 enter;
  Float4 leave;

  Span(Float4 from, Float4 to) : enter(from), leave(to) {}
  Span(const Crossing& a, const Crossing& b)
      : enter(min(a.asEntry, b.asEntry)), leave(max(a.asExit, b.asExit)) {}
  friend Span overlap(const Span& a, const Span& b) { return {max(a.enter, b.enter), min(a.leave, b.leave)}; }
};

// Bit i: lane i is inside for a while, ahead of its origin and before its nearest hit.
int lanesWithin(const Span& s, Float4 nearestHit) {
  return signBits((s.enter <= s.leave) & (s.enter < nearestHit) & (s.leave > Float4()));
}

}  // namespace

QuadRay::QuadRay(const PointFlt& origin, const VectorFlt& d0, const VectorFlt& d1, const VectorFlt& d2,
                 const VectorFlt& d3, bool nearest)
    : meanDirection_(0.25f * (d0 + d1 + d2 + d3)),
      origin_{origin[0], origin[1], origin[2], 0},
      nearest_(nearest) {
  for (int k = 0; k < 3; ++k) {
    const Float4 d(d0[k], d1[k], d2[k], d3[k]);
    d.store(direction_[k]);
    (Float4(1) / d).store(inverse_[k]);
  }
  Float4(std::numeric_limits<float>::max()).store(t_);
}

void QuadRay::intersect(const BoundingBox& box, BitField32& lanes) const {
  Span span(Float4(-kInfinity), Float4(kInfinity));
  for (int k = 0; k < 3; ++k) {
    const Float4 inverse = Float4::load(inverse_[k]);
    span =
        overlap(span, {Crossing(box.min[k], origin_[k], inverse), Crossing(box.max[k], origin_[k], inverse)});
  }
  int kept = lanesWithin(span, Float4::load(t_));
  if (!nearest_) kept &= ~hits_;
  lanes.bits = static_cast<unsigned>(kept);
}

void QuadRay::intersect(const MeshTriangle& triangle, MeshVertex const* vertices) {
  const auto pointAt = [&](int corner) { return vertices[triangle[corner]].asPointFlt(); };
  const PointFlt p0 = pointAt(0);
  const VectorFlt e1 = pointAt(1) - p0;
  const VectorFlt e2 = pointAt(2) - p0;
  const Float4 dx = Float4::load(direction_[0]);
  const Float4 dy = Float4::load(direction_[1]);
  const Float4 dz = Float4::load(direction_[2]);
  const Float4 hx = dy * Float4(e2[2]) - dz * Float4(e2[1]);
  const Float4 hy = dz * Float4(e2[0]) - dx * Float4(e2[2]);
  const Float4 hz = dx * Float4(e2[1]) - dy * Float4(e2[0]);
  const Float4 det = Float4(e1[0]) * hx + Float4(e1[1]) * hy + Float4(e1[2]) * hz;
  const Float4 sign = det & Float4(-0.0f);
  const Float4 size = det ^ sign;
  const Float4 eps(qvLinear::epsilonTolFlt);
  const Float4 notParallel = size >= eps;
  if (signBits(notParallel) == 0) return;

  // The origin is that of all four rays, so that these two are too.
  const VectorFlt s = PointFlt(origin_[0], origin_[1], origin_[2]) - p0;
  const VectorFlt q = cross(s, e1);
  const Float4 u = (Float4(s[0]) * hx + Float4(s[1]) * hy + Float4(s[2]) * hz) ^ sign;
  const Float4 v = (dx * Float4(q[0]) + dy * Float4(q[1]) + dz * Float4(q[2])) ^ sign;
  const Float4 along(dot(e2, q));
  // The sign of t is that of `along` over that of the determinant; -0 counts as behind.
  const Float4 outside = (size < u) | (u < Float4()) | (size < u + v) | (v < Float4()) | (along ^ sign);
  const int inside = signBits(notParallel) & ~signBits(outside);
  if (inside == 0) return;

  const Float4 t = along / det;
  const Float4 farEnough = (t >= Float4(cullDistance.load(std::memory_order_relaxed))) | (det >= eps);
  const int hit = inside & signBits((t > eps) & farEnough);
  if (hit == 0) return;
  const Float4 nearer = min(t, Float4::load(t_));
  for (int lane = 0; lane < 4; ++lane)
    if (hit >> lane & 1) t_[lane] = qvUtil::lane(nearer, lane);
  hits_ |= hit;
}

void QuadRay::setBackfaceCullDistance(float distance) {
  cullDistance.store(distance, std::memory_order_relaxed);
}

OctreeQuadRayIntersectIt::OctreeQuadRayIntersectIt(const Octree& octree)
    : octree_(octree), stack_(std::make_unique<Entry[]>(8 * static_cast<std::size_t>(octree.getDepth()))) {}

OctreeQuadRayIntersectIt::OctreeQuadRayIntersectIt(const Octree& octree, QuadRay& packet)
    : OctreeQuadRayIntersectIt(octree) {
  reset(packet, false);
}

OctreeQuadRayIntersectIt::~OctreeQuadRayIntersectIt() = default;

void OctreeQuadRayIntersectIt::reset(QuadRay& packet, bool ordered) {
  packet_ = &packet;
  if (ordered) {
    Octree::getNodeOrdering(qvLinear::Vector(packet.meanDirection()), order_);
  } else {
    for (int i = 0; i < 8; ++i) order_[i] = i;
  }
  size_ = 0;
  push(octree_.getRoot());
  if (size_ > 0 && !stack_[0].node.isLeaf()) next();
}

void OctreeQuadRayIntersectIt::push(const OctreeIterator& node) {
  BitField32 lanes;
  packet_->intersect(node, lanes);
  if (lanes.any()) stack_[static_cast<std::size_t>(size_++)] = {node, static_cast<int>(lanes.bits)};
}

OctreeIterator OctreeQuadRayIntersectIt::get() const {
  return valid() ? stack_[static_cast<std::size_t>(size_ - 1)].node : OctreeIterator();
}

void OctreeQuadRayIntersectIt::next() {
  if (get().isLeaf()) --size_;
  while (size_ > 0 && !get().isLeaf()) {
    const OctreeIterator node = get();
    --size_;
    for (int i = 7; i >= 0; --i) {
      OctreeIterator child = node;
      if (child.descend(order_[i])) push(child);
    }
  }
}

// Walks voxels with triangles as the iterator does, with the boxes of all children from the planes of their
// node. Packets that look for the nearest hit are free to take the children front to back, and to pass by
// what lies beyond their hits; for the others the walk decides what they hit, down to every box that is
// tested.
class PacketWalk {
 public:
  PacketWalk(Octree const& octree, OctreeTris const& octreeTris, CompactMesh const* mesh)
      : octreeTris_(octreeTris),
        tree_(octree, octreeTris, mesh ? mesh->getNumTriangles() : 0),
        boxes_(octree, octreeTris, mesh, VoxelBoxes::Extent::partInVoxel),
        vertices_(mesh ? mesh->getVertices() : nullptr),
        triangles_(mesh ? mesh->getTriangles() : nullptr),
        stack_(std::make_unique<Entry[]>(8 * static_cast<std::size_t>(octree.getDepth()))) {}

  void run(QuadRay& packet) {
    if (tree_.getRoot() == WalkTree::kNone) return;
    BitField32 lanes;
    packet.intersect(tree_.getRootBox(), lanes);
    if (!lanes.any()) return;
    if (packet.nearest_) {
      Octree::getNodeOrdering(qvLinear::Vector(packet.meanDirection()), order_);
    } else {
      for (int i = 0; i < 8; ++i) order_[i] = i;
    }
    for (int k = 0; k < 3; ++k) inverse_[k] = Float4::load(packet.inverse_[k]);
    beam_ = Beam(packet.origin_, inverse_, tree_.getRootBox());
    std::size_t size = 0;
    stack_[size++] = {Float4(-kInfinity), tree_.getRoot()};
    while (size > 0) {
      const Entry entry = stack_[--size];
      if (packet.nearest_ && signBits(entry.enter < reach(packet)) == 0) continue;
      if (WalkTree::isVoxel(entry.node)) {
        if (testVoxel(packet, WalkTree::voxelOf(entry.node))) return;
      } else {
        size = pushChildren(packet, tree_[entry.node], size);
      }
    }
  }

 private:
  struct Entry {
    Float4 enter;
    int node;
  };

  // How far boxes matter. Beyond the nearest hit by what the rounding of its parameter may have added, so
  // that the answer is the smallest of all hits and does not depend on the order of the walk.
  static Float4 reach(const QuadRay& packet) {
    return Float4::load(packet.t_) * Float4(packet.nearest_ ? 1.0001f : 1.0f);
  }

  std::size_t pushChildren(const QuadRay& packet, const WalkTree::Node& node, std::size_t size) {
    const auto halves = [&](int k, Span& lower, Span& upper) {
      const Crossing at0(node.lower[k], packet.origin_[k], inverse_[k]);
      const Crossing at1(node.middle(k), packet.origin_[k], inverse_[k]);
      const Crossing at2(node.upper[k], packet.origin_[k], inverse_[k]);
      lower = Span(at0, at1);
      upper = Span(at1, at2);
    };
    const Span none{Float4(), Float4()};
    Span x[2] = {none, none}, y[2] = {none, none}, z[2] = {none, none};
    halves(0, x[0], x[1]);
    halves(1, y[0], y[1]);
    halves(2, z[0], z[1]);
    const Span xy[4] = {overlap(x[0], y[0]), overlap(x[1], y[0]), overlap(x[0], y[1]), overlap(x[1], y[1])};
    const Float4 nearestHit = reach(packet);
    const int live = packet.nearest_ ? 15 : ~packet.hits_ & 15;
    for (int i = 7; i >= 0; --i) {
      const int c = order_[i];
      if (node.children[c] == WalkTree::kNone) continue;
      const Span span = overlap(xy[c & 3], z[c >> 2]);
      if ((lanesWithin(span, nearestHit) & live) == 0) continue;
      if (WalkTree::isVoxel(node.children[c])) {
        boxes_.prefetch(WalkTree::voxelOf(node.children[c]));
      } else {
        tree_.prefetch(node.children[c]);
      }
      stack_[size++] = {span.enter, node.children[c]};
    }
    return size;
  }

  // @return whether the packet is done. Testing a triangle again, in another voxel, changes nothing.
  bool testVoxel(QuadRay& packet, int voxel) {
    if (packet.nearest_ && beam_.isNarrow()) {
      testNearBeam(packet, voxel);
      return false;
    }
    int const* list = octreeTris_.firstTri(voxel);
    for (int i = 0; i < octreeTris_.numTris(voxel) && !packet.allRaysTerminated(); ++i)
      packet.intersect(triangles_[list[i]], vertices_);
    return packet.allRaysTerminated();
  }

  void testNearBeam(QuadRay& packet, int voxel) {
    const VoxelBoxes::Voxel& frame = boxes_.get(voxel);
    VoxelBoxes::Group const* group = boxes_.groups(voxel);
    int const* list = boxes_.triangles(frame);
    qvUtil::prefetch(list);
    beam_.enterVoxel(frame);
    for (int i = 0; i < frame.count; i += 4, ++group) {
      unsigned met = beam_.meets(*group) & ((2u << std::min(3, frame.count - 1 - i)) - 1);
      for (int k = i; met != 0; ++k, met >>= 1)
        if (met & 1) packet.intersect(triangles_[list[k]], vertices_);
    }
  }

  // The rays of a packet as one, as long as they run the same way along all axes: where the first of them
  // enters a box, and the last one leaves it.
  class Beam {
   public:
    Beam() = default;
    Beam(float const* origin, const Float4 (&inverse)[3], const BoundingBox& box) {
      float reach = 0;
      for (int k = 0; k < 3; ++k) {
        float lanes[4];
        inverse[k].store(lanes);
        const auto [least, largest] = std::minmax_element(lanes, lanes + 4);
        least_[k] = Float4(*least);
        largest_[k] = Float4(*largest);
        downwards_[k] = *largest < 0;
        narrow_ =
            narrow_ && *least * *largest > 0 && std::max(std::fabs(*least), std::fabs(*largest)) < 1e30f;
        origin_[k] = origin[k];
        reach = std::max({reach, std::fabs(origin[k]), std::fabs(box.min[k]), std::fabs(box.max[k])});
      }
      margin_ = 2e-6f * reach;
    }
    // Where it is not, boxes tell nothing.
    bool isNarrow() const { return narrow_; }

    void enterVoxel(const VoxelBoxes::Voxel& frame) {
      for (int k = 0; k < 3; ++k) {
        const float from = frame.origin[k] - origin_[k];
        const float outwards = downwards_[k] ? -margin_ : margin_;
        step_[k] = Float4(frame.step[k]);
        nearFrom_[k] = Float4(from - outwards);
        farFrom_[k] = Float4(from + outwards);
      }
    }
    // Bit i: box i is met by some of the rays. NaN rules nothing out.
    unsigned meets(const VoxelBoxes::Group& group) const {
      Float4 enter;
      Float4 leave(kInfinity);
      for (int k = 0; k < 3; ++k) {
        const Float4 near =
            Float4::fromBytes(downwards_[k] ? group.upper[k] : group.lower[k]) * step_[k] + nearFrom_[k];
        const Float4 far =
            Float4::fromBytes(downwards_[k] ? group.lower[k] : group.upper[k]) * step_[k] + farFrom_[k];
        enter = max(min(near * least_[k], near * largest_[k]), enter);
        leave = min(max(far * least_[k], far * largest_[k]), leave);
      }
      return ~static_cast<unsigned>(signBits(enter > leave)) & 15u;
    }

   private:
    Float4 least_[3], largest_[3];  // of the inverse directions
    Float4 step_[3], nearFrom_[3], farFrom_[3];
    float origin_[3] = {};
    float margin_ = 0;
    bool downwards_[3] = {};
    bool narrow_ = true;
  };

  OctreeTris const& octreeTris_;
  WalkTree tree_;
  VoxelBoxes boxes_;
  Beam beam_;
  MeshVertex const* vertices_;
  MeshTriangle const* triangles_;
  std::unique_ptr<Entry[]> stack_;
  int order_[8] = {};
  Float4 inverse_[3];
};

QuadRayTracer::QuadRayTracer(Octree const& octree, OctreeTris const& octreeTris, CompactMesh const* mesh)
    : OctreeQuadRayIntersectIt(octree), walk_(std::make_unique<PacketWalk>(octree, octreeTris, mesh)) {}
QuadRayTracer::~QuadRayTracer() = default;

void QuadRayTracer::intersect(QuadRay& packet) { walk_->run(packet); }

}  // namespace qvGeom
