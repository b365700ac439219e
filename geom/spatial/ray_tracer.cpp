#include "geom/spatial/ray_tracer.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <limits>

#include "geom/model/keel/lanes.h"
#include "geom/spatial/ray.h"
#include "geom/spatial/voxel_boxes.h"
#include "geom/spatial/walk_tree.h"

namespace qvGeom {

using qvLinear::PointFlt;
using qvLinear::Vector;
using qvLinear::VectorFlt;
using qvUtil::Float4;

namespace {

constexpr double kFarthest = std::numeric_limits<float>::max();

// Rules out triangles that a ray passes by, four at a time in single precision with a margin for its
// rounding. What is left goes to the test in double.
class TriangleFilter {
 public:
  void aim(const PointFlt& origin, const VectorFlt& dir) {
    for (int k = 0; k < 3; ++k) {
      origin_[k] = Float4(origin[k]);
      dir_[k] = Float4(dir[k]);
    }
  }

  // Bit k: triangle k may be hit.
  unsigned mayHit(float const* vertices, int const* triangles, const int (&four)[4]) const {
    Float4 p[3][3];
    for (int c = 0; c < 3; ++c) {
      float const* at[4];
      for (int k = 0; k < 4; ++k)
        at[k] = vertices + std::ptrdiff_t{3} * triangles[std::ptrdiff_t{3} * four[k] + c];
      gatherPoints(at[0], at[1], at[2], at[3], p[c]);
    }
    Float4 e1[3], e2[3], s[3], h[3], q[3];
    Float4 size, reach;
    for (int k = 0; k < 3; ++k) {
      e1[k] = p[1][k] - p[0][k];
      e2[k] = p[2][k] - p[0][k];
      s[k] = origin_[k] - p[0][k];
      size = size + max(abs(e1[k]), abs(e2[k]));
      reach = reach + abs(s[k]);
    }
    cross(dir_, e2, h);
    cross(s, e1, q);
    const Float4 det = dot(e1, h);
    const Float4 sign = det & Float4(-0.0f);
    const Float4 u = dot(s, h) ^ sign;
    const Float4 v = dot(dir_, q) ^ sign;
    // The direction's components are at most 1.
    const Float4 doubt = Float4(2e-6f) * (reach + size) * size;
    const Float4 missed =
        (u < Float4() - doubt) | (v < Float4() - doubt) | (u + v > (det ^ sign) + doubt + doubt);
    return ~static_cast<unsigned>(signBits(missed)) & 15u;
  }

 private:
  Float4 origin_[3];
  Float4 dir_[3];
};

float largestSize(float const* x) { return std::max({std::fabs(x[0]), std::fabs(x[1]), std::fabs(x[2])}); }

}  // namespace

// Walks front to back. A node is passed by when the ray misses it, or enters it beyond the nearest hit. Boxes
// are taken a little larger than they are, so that neither the rounding of the walk nor that of the partition
// loses a triangle; the walk may therefore meet a few voxels that OctreeRayIntersectIt does not, and finds no
// other hits there but those that the triangles have.
class RayTracer::Impl {
 public:
  Impl(Octree const& octree, OctreeTris const& octreeTris, CompactMesh const* mesh)
      : tree_(octree, octreeTris, mesh ? mesh->getNumTriangles() : 0),
        boxes_(octree, octreeTris, mesh, VoxelBoxes::Extent::partInVoxel),
        vertices_(mesh ? mesh->getVerticesRaw() : nullptr),
        triangles_(mesh ? mesh->getTrianglesRaw() : nullptr),
        boxSize_(std::max(largestSize(tree_.getRootBox().min), largestSize(tree_.getRootBox().max))),
        stack_(std::make_unique<Entry[]>(8 * static_cast<std::size_t>(octree.getDepth()))) {}

  void setFindNearestHit(bool nearest) { findNearest_ = nearest; }
  double intersectionDist() const { return distance_; }

  bool intersect(const PointFlt& origin, const Vector& dir) {
    distance_ = kFarthest;
    if (tree_.getRoot() == WalkTree::kNone || !aim(origin, dir)) return false;
    Ray ray(origin, dir);
    bool hit = false;
    std::size_t size = 0;
    stack_[size++] = {tree_.getRoot(), 0};
    while (size > 0) {
      const Entry entry = stack_[--size];
      if (entry.enter > farthest_) continue;
      if (WalkTree::isVoxel(entry.node)) {
        if (!hitVoxel(WalkTree::voxelOf(entry.node), ray)) continue;
        hit = true;
        if (!findNearest_) break;
        distance_ = ray.triIntersectionRayParam();
        farthest_ = static_cast<float>(distance_ * parameterScale_ * 1.000002);
      } else {
        size = pushChildren(tree_[entry.node], size);
      }
    }
    return hit;
  }

 private:
  struct Entry {
    int node;
    float enter;  // parameter of the walk
  };

  // The walk has a direction of its own, scaled so that its largest component is 1: parameters of the walk
  // are those of the ray times parameterScale_.
  bool aim(const PointFlt& origin, const Vector& dir) {
    const double longest = std::max({std::fabs(dir[0]), std::fabs(dir[1]), std::fabs(dir[2])});
    if (!std::isfinite(dir[0]) || !std::isfinite(dir[1]) || !std::isfinite(dir[2]) || longest == 0)
      return false;
    if (!std::isfinite(origin[0]) || !std::isfinite(origin[1]) || !std::isfinite(origin[2])) return false;
    const VectorFlt d(static_cast<float>(dir[0] / longest), static_cast<float>(dir[1] / longest),
                      static_cast<float>(dir[2] / longest));
    parameterScale_ = longest;
    farthest_ = std::numeric_limits<float>::infinity();
    filter_.aim(origin, d);
    const float margin = 2e-6f * (boxSize_ + largestSize(origin.data()));
    flip_ = 0;
    float inverse[4] = {}, entry[4] = {}, exit[4] = {}, direction[4] = {};
    for (unsigned k = 0; k < 3; ++k) {
      // A component next to nothing moves the ray by less than the margin, wherever it meets the box; its
      // inverse stays finite, and no bound becomes NaN.
      const float component = std::fabs(d[static_cast<int>(k)]) < 1e-20f ? 1e-20f : d[static_cast<int>(k)];
      inverse[k] = 1 / component;
      const bool downwards = component < 0;
      flip_ |= (downwards ? 1u : 0u) << k;
      direction[k] = component;
      // Where it enters, a box is larger by the margin on the near side; where it leaves, on the far side.
      entry[k] = origin[static_cast<int>(k)] + (downwards ? -margin : margin);
      exit[k] = origin[static_cast<int>(k)] - (downwards ? -margin : margin);
    }
    downwards_ = Float4::load(direction) < Float4();
    inverse_ = Float4::load(inverse);
    entry_ = Float4::load(entry);
    exit_ = Float4::load(exit);
    return true;
  }

  // Puts the children that the ray meets on the stack, the nearest on top. Seen along the ray, an axis has a
  // near and a far half; a child is numbered by the halves that it lies in, and the order of those numbers is
  // front to back.
  std::size_t pushChildren(const WalkTree::Node& node, std::size_t size) {
    const Float4 lower = Float4::load(node.lower);
    const Float4 upper = Float4::load(node.upper);
    const Float4 middle(node.middle(0), node.middle(1), node.middle(2), 0);
    float enterNear[4], enterFar[4], leaveNear[4], leaveFar[4];
    ((select(downwards_, upper, lower) - entry_) * inverse_).store(enterNear);
    ((middle - entry_) * inverse_).store(enterFar);
    ((middle - exit_) * inverse_).store(leaveNear);
    ((select(downwards_, lower, upper) - exit_) * inverse_).store(leaveFar);

    const Float4 enter2 = max(Float4(enterNear[0], enterFar[0], enterNear[0], enterFar[0]),
                              Float4(enterNear[1], enterNear[1], enterFar[1], enterFar[1]));
    const Float4 leave2 = min(Float4(leaveNear[0], leaveFar[0], leaveNear[0], leaveFar[0]),
                              Float4(leaveNear[1], leaveNear[1], leaveFar[1], leaveFar[1]));
    const Float4 enter[2] = {max(enter2, Float4(enterNear[2])), max(enter2, Float4(enterFar[2]))};
    const Float4 leave[2] = {min(leave2, Float4(leaveNear[2])), min(leave2, Float4(leaveFar[2]))};
    unsigned met = 0;
    float entered[8];
    for (unsigned half = 0; half < 2; ++half) {
      const Float4 first = max(enter[half], Float4());
      first.store(entered + 4 * half);
      met |= static_cast<unsigned>(signBits((first <= leave[half]) & (first <= Float4(farthest_))))
             << 4 * half;
    }
    for (; met != 0; met &= ~std::bit_floor(met)) {
      const unsigned c = static_cast<unsigned>(std::bit_width(met)) - 1;
      const int child = node.children[c ^ flip_];
      if (child == WalkTree::kNone) continue;
      if (WalkTree::isVoxel(child)) {
        boxes_.prefetch(WalkTree::voxelOf(child));
      } else {
        tree_.prefetch(child);
      }
      stack_[size++] = {child, entered[c]};
    }
    return size;
  }

  // Triangles on their way from the boxes to the test, in list order.
  struct Waiting {
    int tri[4];
    int count = 0;
  };

  // @return whether the ray's record has a new nearest hit, or any
  bool hitVoxel(int voxel, Ray& ray) {
    const VoxelBoxes::Voxel& frame = boxes_.get(voxel);
    VoxelBoxes::Group const* group = boxes_.groups(voxel);
    int const* list = boxes_.triangles(frame);
    const int count = frame.count;
    qvUtil::prefetch(list);
    if (!meetsAll(frame)) return false;
    const double before = ray.triIntersectionRayParam();
    const BoxTest test(*this, frame);
    Waiting waiting;
    for (int i = 0; i < count; i += 4, ++group) {
      unsigned met = test.run(*group) & ((2u << std::min(3, count - 1 - i)) - 1);
      for (int k = i; met != 0; ++k, met >>= 1) {
        if (!(met & 1)) continue;
        waiting.tri[waiting.count++] = list[k];
        if (waiting.count == 4 && hitAny(waiting, ray) && !findNearest_) return true;
      }
    }
    const bool hit = hitAny(waiting, ray);
    return findNearest_ ? ray.triIntersectionRayParam() < before : hit;
  }

  // Whether the ray meets the box of all triangles in a voxel. NaN rules nothing out.
  bool meetsAll(const VoxelBoxes::Voxel& frame) const {
    const Float4 origin(frame.origin[0], frame.origin[1], frame.origin[2], 0);
    const Float4 extent = Float4(frame.step[0], frame.step[1], frame.step[2], 0) * Float4(255);
    float enter[4], leave[4];
    ((origin + (extent & downwards_) - entry_) * inverse_).store(enter);
    ((origin + andNot(downwards_, extent) - exit_) * inverse_).store(leave);
    const float first = std::max({enter[0], enter[1], enter[2], 0.0f});
    return !(first > std::min({leave[0], leave[1], leave[2]}) || first > farthest_);
  }

  // Which of four boxes the ray meets before the nearest hit. NaN rules nothing out.
  class BoxTest {
   public:
    BoxTest(const Impl& tracer, const VoxelBoxes::Voxel& frame) : farthest_(tracer.farthest_) {
      const Float4 origin(frame.origin[0], frame.origin[1], frame.origin[2], 0);
      float step[4], atEntry[4], atExit[4];
      (Float4(frame.step[0], frame.step[1], frame.step[2], 0) * tracer.inverse_).store(step);
      ((origin - tracer.entry_) * tracer.inverse_).store(atEntry);
      ((origin - tracer.exit_) * tracer.inverse_).store(atExit);
      for (int k = 0; k < 3; ++k) {
        step_[k] = Float4(step[k]);
        atEntry_[k] = Float4(atEntry[k]);
        atExit_[k] = Float4(atExit[k]);
        downwards_[k] = (tracer.flip_ >> k & 1) != 0;
      }
    }
    unsigned run(const VoxelBoxes::Group& group) const {
      Float4 enter;
      Float4 leave(std::numeric_limits<float>::infinity());
      for (int k = 0; k < 3; ++k) {
        const std::uint8_t* near = downwards_[k] ? group.upper[k] : group.lower[k];
        const std::uint8_t* far = downwards_[k] ? group.lower[k] : group.upper[k];
        enter = max(Float4::fromBytes(near) * step_[k] + atEntry_[k], enter);
        leave = min(Float4::fromBytes(far) * step_[k] + atExit_[k], leave);
      }
      return ~static_cast<unsigned>(signBits((enter > leave) | (enter > farthest_))) & 15u;
    }

   private:
    Float4 step_[3], atEntry_[3], atExit_[3];
    Float4 farthest_;
    bool downwards_[3];
  };

  bool hitAny(Waiting& waiting, Ray& ray) const {
    if (waiting.count == 0) return false;
    for (int k = waiting.count; k < 4; ++k) waiting.tri[k] = waiting.tri[0];
    unsigned left = filter_.mayHit(vertices_, triangles_, waiting.tri) & ((1u << waiting.count) - 1);
    waiting.count = 0;
    bool hit = false;
    for (int k = 0; left != 0 && (findNearest_ || !hit); ++k, left >>= 1)
      if (left & 1)
        hit = ray.intersects(reinterpret_cast<MeshTriangle const*>(triangles_)[waiting.tri[k]],
                             reinterpret_cast<MeshVertex const*>(vertices_)) ||
              hit;
    return hit;
  }

  WalkTree tree_;
  VoxelBoxes boxes_;
  float const* vertices_;
  int const* triangles_;
  float boxSize_;
  std::unique_ptr<Entry[]> stack_;
  bool findNearest_ = false;
  double distance_ = kFarthest;

  // Of the ray under way.
  TriangleFilter filter_;
  Float4 inverse_;
  Float4 entry_;
  Float4 exit_;
  Float4 downwards_;   // mask of axes
  unsigned flip_ = 0;  // the same as bits
  double parameterScale_ = 1;
  float farthest_ = 0;
};

RayTracer::RayTracer(Octree const& octree, OctreeTris const& octreeTris, CompactMesh const* mesh)
    : impl_(std::make_unique<Impl>(octree, octreeTris, mesh)) {}
RayTracer::~RayTracer() = default;

void RayTracer::setFindNearestHit(bool nearest) { impl_->setFindNearestHit(nearest); }
bool RayTracer::intersect(const PointFlt& origin, const Vector& dir) { return impl_->intersect(origin, dir); }
double RayTracer::intersectionDist() const { return impl_->intersectionDist(); }

}  // namespace qvGeom
