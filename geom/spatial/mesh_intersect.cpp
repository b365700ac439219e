#include "geom/spatial/mesh_intersect.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <new>
#include <utility>

#include "geom/model/keel/channels.h"
#include "geom/model/keel/containers.h"
#include "geom/model/keel/lines.h"
#include "geom/model/keel/ranges.h"
#include "geom/model/keel/stop_watch.h"
#include "geom/model/keel/threading.h"
#include "geom/model/keel/tolerances.h"
#include "geom/model/keel/visit_stamps.h"
#include "geom/spatial/box_walk.h"
#include "geom/spatial/octree_iterators.h"
#include "geom/spatial/walk_tree.h"
#include "geom/topology/transforms.h"

namespace qvGeom {

using qvLinear::AffineMatrix;
using qvLinear::Line;
using qvLinear::Normal;
using qvLinear::Plane;
using qvLinear::Point;
using qvLinear::Range1d;
using qvLinear::Vector;

namespace {

struct Corners {
  Point p[3];
};

// Twice the area, along the normal.
Vector areaVector(const Corners& t) { return cross(t.p[2] - t.p[1], t.p[0] - t.p[1]); }

bool allOnOneSide(double const* d) {
  return (d[0] > 0 && d[1] > 0 && d[2] > 0) || (d[0] < 0 && d[1] < 0 && d[2] < 0);
}

// Where a triangle meets the line that lies in its plane and in another.
// @param d distances of its corners from the other plane
Range1d spanOnLine(const Corners& tri, double const* d, const Line& line) {
  double t[3];
  for (int i = 0; i < 3; ++i) t[i] = projectParam(tri.p[i], line);
  Range1d span;
  for (int a = 0; a < 3; ++a) {
    // By the signs of the distances: a corner in the plane is no crossing of the two sides that end there.
    if (d[a] == 0) span.unite(t[a]);
    const int b = (a + 1) % 3;
    if ((d[a] < 0 && d[b] > 0) || (d[a] > 0 && d[b] < 0))
      span.unite(t[a] + (t[b] - t[a]) * d[a] / (d[a] - d[b]));
  }
  return span;
}

bool findCrossing(const Corners& p, const Corners& q, Point& s0, Point& s1) {
  // The normals of triNormal, but for its fallback: a triangle without area has no plane to cross in.
  const Normal n1(areaVector(p));
  const Normal n2(areaVector(q));
  if (n1 == Vector() || n2 == Vector() || equivalent(n1, n2, qvLinear::epsilonTol)) return false;
  const Plane plane1(p.p[0], n1);
  const Plane plane2(q.p[0], n2);
  double dq[3];
  double dp[3];
  for (int i = 0; i < 3; ++i) dq[i] = plane1.eval(q.p[i]);
  if (allOnOneSide(dq)) return false;
  for (int i = 0; i < 3; ++i) dp[i] = plane2.eval(p.p[i]);
  if (allOnOneSide(dp)) return false;
  bool ok = false;
  const Line line = qvLinear::intersect(plane1, plane2, ok);
  if (!ok) return false;
  const Range1d common =
      qvLinear::intersect(spanOnLine(p, dp, line), spanOnLine(q, dq, line), qvLinear::epsilonTol);
  if (!(common.size() > 0)) return false;
  s0 = line.eval(common.min);
  s1 = line.eval(common.max);
  return true;
}

// A mesh as the inner loops read it.
struct Surface {
  float const* vertices = nullptr;
  int const* indices = nullptr;
  MeshTriangle const* triangles = nullptr;
  int count = 0;

  explicit Surface(CompactMesh const& mesh)
      : vertices(mesh.getVerticesRaw()),
        indices(mesh.getTrianglesRaw()),
        triangles(mesh.getTriangles()),
        count(mesh.getNumTriangles()) {}

  Corners corners(int tri) const {
    Corners result;
    for (int c = 0; c < 3; ++c) {
      float const* p = vertices + std::ptrdiff_t{3} * triangles[tri][c];
      result.p[c] = Point(p[0], p[1], p[2]);
    }
    return result;
  }
  MeshIntersectPair piece(int tri, const Point& s0, const Point& s1) const {
    MeshIntersectPair pair;
    pair.first.setFromPoint(tri, vertices, indices, s0);
    pair.second.setFromPoint(tri, vertices, indices, s1);
    return pair;
  }
};

double largestCoordinate(const BoundingBox& box) {
  double largest = 0;
  for (int k = 0; k < 6; ++k) largest = std::max(largest, std::fabs(static_cast<double>(box.data()[k])));
  return largest;
}

// Rules out most pairs of triangles without a square root: those of which one lies to one side of the other's
// plane, by more than any rounding of the exact test could turn round.
class SideFilter {
 public:
  // @param reach size of the largest coordinate that occurs
  explicit SideFilter(double reach) : margin_(1e-13 * reach) {}

  struct SidePlane {
    Vector normal;  // not of unit length
    Point point;
    double margin;
  };
  SidePlane plane(const Corners& t) const {
    // As triNormal has it, so that a triangle without a direction has none here either, and rules nothing
    // out.
    const Vector n = cross(t.p[2] - t.p[1], t.p[0] - t.p[1]);
    return {n, t.p[0], margin_ * (std::fabs(n[0]) + std::fabs(n[1]) + std::fabs(n[2]))};
  }
  static bool isApart(const SidePlane& plane, const Corners& t) {
    const double d0 = dot(plane.normal, t.p[0] - plane.point);
    const double d1 = dot(plane.normal, t.p[1] - plane.point);
    const double d2 = dot(plane.normal, t.p[2] - plane.point);
    return std::min({d0, d1, d2}) > plane.margin || std::max({d0, d1, d2}) < -plane.margin;
  }

 private:
  double margin_;
};

// One of the two loops' common frame: every triangle of a chunk in ascending order, with the memory of the
// worker. Chunks are handed out so that the results of the workers, in their order, are in triangle order.
template <typename Slot>
class TriangleChunks : public qvUtil::ThreadedChunkAlg {
 public:
  explicit TriangleChunks(int numTriangles) : ThreadedChunkAlg(numTriangles), numTriangles_(numTriangles) {}

  void executeChunk(int chunk, int thread, int) override {
    if (cancelled(thread)) return;
    Slot& slot = *slots_[static_cast<std::size_t>(thread)];
    const int end = getBeginIndex(chunk + 1, getNumChunks(), numTriangles_);
    for (int i = getBeginIndex(chunk, getNumChunks(), numTriangles_); i < end; ++i) {
      testTriangle(i, slot);
      slot.seen.next();
    }
    updateProgress(thread, static_cast<double>(chunk) / getNumChunks());
  }

 protected:
  virtual void testTriangle(int i, Slot& slot) const = 0;

  void makeSlots(int numThreads, int numSeen) {
    slots_.clear();
    for (int i = 0; i < numThreads; ++i) {
      slots_.push_back(std::make_unique<Slot>());
      slots_.back()->seen.resize(static_cast<std::size_t>(numSeen));
    }
  }
  void forgetSeen() {
    for (const auto& slot : slots_) slot->seen = qvUtil::VisitStamps();
  }
  const qv::vector<std::unique_ptr<Slot>>& slots() const { return slots_; }

  static void append(std::deque<MeshIntersectPair>& from, std::deque<MeshIntersectPair>& to) {
    if (to.empty()) {
      to.swap(from);
    } else {
      to.insert(to.end(), from.begin(), from.end());
    }
  }

 private:
  int numTriangles_;
  qv::vector<std::unique_ptr<Slot>> slots_;  // each on its own, so that workers share no cache line
};

struct SelfSlot {
  qvUtil::VisitStamps seen;
  std::deque<MeshIntersectPair> pairs;
};

class SelfIntersectAlg : public TriangleChunks<SelfSlot> {
 public:
  SelfIntersectAlg(const Surface& mesh, const OctreeTris& voxelTris, const ArrayOfSets& triVoxels,
                   BoundingBox const* boxes, double reach)
      : TriangleChunks(mesh.count),
        mesh_(mesh),
        voxelTris_(voxelTris),
        triVoxels_(triVoxels),
        boxes_(boxes),
        filter_(reach) {}

  void initialize(int numThreads) override { makeSlots(numThreads, mesh_.count); }
  void finalize() override { forgetSeen(); }

  void merge(std::deque<MeshIntersectPair>& pairs) {
    for (const auto& slot : slots()) append(slot->pairs, pairs);
  }

 protected:
  void testTriangle(int i, SelfSlot& slot) const override {
    const BoundingBox box = boxes_[i];
    const MeshTriangle tri = mesh_.triangles[i];
    const Corners corners = mesh_.corners(i);
    const SideFilter::SidePlane plane = filter_.plane(corners);
    int const* voxels = triVoxels_.getSet(i);
    for (int k = 0; k < triVoxels_.getSetSize(i); ++k) {
      int const* list = voxelTris_.firstTri(voxels[k]);
      int const* end = list + voxelTris_.numTris(voxels[k]);
      // Lists ascend; each pair is tested from its later triangle.
      for (; list < end && *list < i; ++list) {
        const int j = *list;
        if (!box.intersects(boxes_[j]) || shareVertex(tri, mesh_.triangles[j])) continue;
        if (slot.seen.seen(static_cast<std::size_t>(j))) continue;
        testPair(i, j, corners, plane, slot);
      }
    }
  }

 private:
  static bool shareVertex(const MeshTriangle& a, const MeshTriangle& b) {
    for (const int v : a.v)
      if (v == b[0] || v == b[1] || v == b[2]) return true;
    return false;
  }

  void testPair(int i, int j, const Corners& p, const SideFilter::SidePlane& plane, SelfSlot& slot) const {
    const Corners q = mesh_.corners(j);
    if (SideFilter::isApart(plane, q) || SideFilter::isApart(filter_.plane(q), p)) return;
    Point s0, s1;
    if (!findCrossing(p, q, s0, s1)) return;
    slot.pairs.push_back(mesh_.piece(i, s0, s1));
    slot.pairs.push_back(mesh_.piece(j, s0, s1));
  }

  Surface mesh_;
  const OctreeTris& voxelTris_;
  const ArrayOfSets& triVoxels_;
  BoundingBox const* boxes_;
  SideFilter filter_;
};

// The box of a transformed box, grown by what its rounding to floats may have taken off.
// @param reach size of the largest coordinate in the frame that the box goes to
void transformOutwards(BoundingBox& box, const AffineMatrix& m, double reach) {
  box.transform(m);
  box.extend(static_cast<float>(4e-7 * reach));
}

// What is known of the second mesh in the frame of the first.
struct OtherMesh {
  Surface surface;
  const OctreeTris& voxelTris;
  qv::vector<BoundingBox> boxes;       // of triangles, in the first mesh's frame
  qv::vector<BoundingBox> voxelBoxes;  // of the triangles in each voxel, likewise

  OtherMesh(CompactMesh const& mesh, const OctreeTris& octreeTris, const AffineMatrix& toFirst, double reach)
      : surface(mesh), voxelTris(octreeTris), boxes(static_cast<std::size_t>(surface.count)) {
    meshTriBoundingBoxes(mesh.getVertices(), mesh.getTriangles(), surface.count, boxes.data());
    for (BoundingBox& box : boxes) transformOutwards(box, toFirst, reach);
    voxelBoxes.resize(static_cast<std::size_t>(octreeTris.getNumVoxels()));
    for (int v = 0; v < octreeTris.getNumVoxels(); ++v)
      for (int i = 0; i < octreeTris.numTris(v); ++i)
        voxelBoxes[static_cast<std::size_t>(v)].extend(
            boxes[static_cast<std::size_t>(octreeTris.firstTri(v)[i])]);
  }
};

struct PairSlot {
  qvUtil::VisitStamps seen;
  std::deque<MeshIntersectPair> pairs1;
  std::deque<MeshIntersectPair> pairs2;
};

class IntersectAlg : public TriangleChunks<PairSlot> {
 public:
  // @param voxelMap for each voxel of the first octree, those of the second that may meet it
  IntersectAlg(const Surface& mesh, const ArrayOfSets& triVoxels, BoundingBox const* boxes,
               const OtherMesh& other, const ArrayOfSets& voxelMap, const AffineMatrix& m,
               const AffineMatrix& inverse, double reach)
      : TriangleChunks(mesh.count),
        mesh_(mesh),
        triVoxels_(triVoxels),
        boxes_(boxes),
        other_(other),
        voxelMap_(voxelMap),
        m_(m),
        inverse_(inverse),
        filter_(reach) {}

  void initialize(int numThreads) override { makeSlots(numThreads, other_.surface.count); }
  void finalize() override { forgetSeen(); }

  void merge(std::deque<MeshIntersectPair>& pairs1, std::deque<MeshIntersectPair>& pairs2) {
    for (const auto& slot : slots()) {
      append(slot->pairs1, pairs1);
      append(slot->pairs2, pairs2);
    }
  }

 protected:
  void testTriangle(int i, PairSlot& slot) const override {
    const BoundingBox box = boxes_[i];
    Corners corners = mesh_.corners(i);
    for (Point& p : corners.p) p = m_.apply(p);
    const SideFilter::SidePlane plane = filter_.plane(corners);
    int const* voxels = triVoxels_.getSet(i);
    for (int k = 0; k < triVoxels_.getSetSize(i); ++k) {
      int const* others = voxelMap_.getSet(voxels[k]);
      for (int n = voxelMap_.getSetSize(voxels[k]); n > 0; --n, ++others) {
        if (!box.intersects(other_.voxelBoxes[static_cast<std::size_t>(*others)])) continue;
        int const* list = other_.voxelTris.firstTri(*others);
        int const* end = list + other_.voxelTris.numTris(*others);
        for (; list < end; ++list)
          if (box.intersects(other_.boxes[static_cast<std::size_t>(*list)]) &&
              !slot.seen.seen(static_cast<std::size_t>(*list)))
            testPair(i, *list, corners, plane, slot);
      }
    }
  }

 private:
  // `p` and its plane are in the second mesh's frame.
  void testPair(int i, int j, const Corners& p, const SideFilter::SidePlane& plane, PairSlot& slot) const {
    const Corners q = other_.surface.corners(j);
    if (SideFilter::isApart(plane, q) || SideFilter::isApart(filter_.plane(q), p)) return;
    Point s0, s1;
    if (!findCrossing(p, q, s0, s1)) return;
    slot.pairs1.push_back(mesh_.piece(i, inverse_.apply(s0), inverse_.apply(s1)));
    slot.pairs2.push_back(other_.surface.piece(j, s0, s1));
  }

  Surface mesh_;
  const ArrayOfSets& triVoxels_;
  BoundingBox const* boxes_;
  const OtherMesh& other_;
  const ArrayOfSets& voxelMap_;
  const AffineMatrix& m_;
  const AffineMatrix& inverse_;
  SideFilter filter_;
};

// Pairs every voxel that holds triangles with those of the other octree that its box meets once it is in
// place.
ArrayOfSets mapVoxels(Octree const& octree, OctreeTris const& octreeTris, Octree const& other,
                      OctreeTris const& otherTris, const AffineMatrix& m, double reach) {
  qv::vector<std::pair<int, int>> pairs;
  const BoxWalk walk(other);
  for (OctreeLeafIterator it(octree); it.valid(); it.next()) {
    const OctreeIterator leaf = it.get();
    if (octreeTris.numTris(leaf.voxel()) == 0) continue;
    BoundingBox box = leaf;
    transformOutwards(box, m, reach);
    const auto visit = [&](int node, int) {
      const int voxel = walk.node(node).leaf;
      if (voxel >= 0 && otherTris.numTris(voxel) > 0) pairs.emplace_back(leaf.voxel(), voxel);
    };
    walk.run(box, visit);
  }
  // Counted by an int in the record.
  if (pairs.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) throw std::bad_alloc();
  ArrayOfSets map;
  map.assignFromPairs(octree.getNumVoxels(), static_cast<int>(pairs.size()),
                      reinterpret_cast<int const*>(pairs.data()));
  return map;
}

}  // namespace

bool intersect(const Point& p0, const Point& p1, const Point& p2, const Point& q0, const Point& q1,
               const Point& q2, Point& s0, Point& s1) {
  return findCrossing({{p0, p1, p2}}, {{q0, q1, q2}}, s0, s1);
}

class MeshIntersect::Impl {
 public:
  Impl(CompactMesh const& mesh, Octree const& octree, OctreeTris const& octreeTris)
      : mesh_(mesh),
        octree_(octree),
        octreeTris_(octreeTris),
        fits_(partitionFits(octree, octreeTris, mesh.getNumTriangles())),
        boxes_(static_cast<std::size_t>(mesh.getNumTriangles())) {
    meshTriBoundingBoxes(mesh.getVertices(), mesh.getTriangles(), mesh.getNumTriangles(), boxes_.data());
  }

  void selfIntersect(qvUtil::Progress& progress, std::deque<MeshIntersectPair>& pairs) {
    qvOS::StopWatch watch;
    watch.start();
    std::deque<MeshIntersectPair> found;
    if (fits_) {
      const Surface surface(mesh_);
      SelfIntersectAlg alg(surface, octreeTris_, triVoxels(), boxes_.data(),
                           largestCoordinate(octree_.getRoot()));
      alg.setProgress(&progress);
      qvUtil::ThreadPool::get().runChunks(alg);
      alg.merge(found);
    }
    pairs.swap(found);
    debugChannel().print("qvGeom::meshSelfIntersect: %d triangles\n    %d tri/tri intersections\n    %f s\n",
                         mesh_.getNumTriangles(), static_cast<int>(pairs.size()), watch.stop());
  }

  void intersect(CompactMesh const& other, Octree const& otherOctree, OctreeTris const& otherTris,
                 const AffineMatrix& m, qvUtil::Progress& progress, std::deque<MeshIntersectPair>& pairs1,
                 std::deque<MeshIntersectPair>& pairs2) {
    BoundingBox rootBox = octree_.getRoot();
    rootBox.transform(m);
    if (!rootBox.intersects(otherOctree.getRoot())) {
      debugChannel().print("qvGeom::meshIntersect: bboxes don't overlap\n");
      return;
    }
    qvOS::StopWatch watch;
    watch.start();
    bool invertible = false;
    const AffineMatrix inverse = m.inverse(&invertible);
    std::deque<MeshIntersectPair> found1, found2;
    if (invertible && fits_ && partitionFits(otherOctree, otherTris, other.getNumTriangles())) {
      const double reach1 = largestCoordinate(octree_.getRoot());
      const double reach2 = std::max(largestCoordinate(rootBox), largestCoordinate(otherOctree.getRoot()));
      const OtherMesh second(other, otherTris, inverse, reach1);
      const ArrayOfSets voxelMap = mapVoxels(octree_, octreeTris_, otherOctree, otherTris, m, reach2);
      IntersectAlg alg(Surface(mesh_), triVoxels(), boxes_.data(), second, voxelMap, m, inverse, reach2);
      alg.setProgress(&progress);
      qvUtil::ThreadPool::get().runChunks(alg);
      alg.merge(found1, found2);
    }
    pairs1.swap(found1);
    pairs2.swap(found2);
    if (!invertible) return;
    debugChannel().print("meshIntersect: triangles1(%d) triangles2(%d)\n    %d intersections, %f s\n",
                         mesh_.getNumTriangles(), other.getNumTriangles(), static_cast<int>(pairs1.size()),
                         watch.stop());
  }

 private:
  // For each triangle the voxels that list it. Made before workers start, and kept.
  const ArrayOfSets& triVoxels() {
    if (triVoxels_.getNumSets() == 0)
      triVoxels_.assignInverse(mesh_.getNumTriangles(), octreeTris_.getData());
    return triVoxels_;
  }

  CompactMesh const& mesh_;
  Octree const& octree_;
  OctreeTris const& octreeTris_;
  bool fits_;
  qv::vector<BoundingBox> boxes_;
  ArrayOfSets triVoxels_;
};

MeshIntersect::MeshIntersect(CompactMesh const& mesh, Octree const& octree, OctreeTris const& octreeTris)
    : impl_(std::make_unique<Impl>(mesh, octree, octreeTris)) {}
MeshIntersect::~MeshIntersect() = default;

void MeshIntersect::selfIntersect(qvUtil::Progress& progress, std::deque<MeshIntersectPair>& pairs) {
  impl_->selfIntersect(progress, pairs);
}

void MeshIntersect::intersect(CompactMesh const& other, Octree const& otherOctree,
                              OctreeTris const& otherOctreeTris, const AffineMatrix& m,
                              qvUtil::Progress& progress, std::deque<MeshIntersectPair>& pairs1,
                              std::deque<MeshIntersectPair>& pairs2) {
  impl_->intersect(other, otherOctree, otherOctreeTris, m, progress, pairs1, pairs2);
}

}  // namespace qvGeom
