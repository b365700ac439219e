#pragma once

#include <memory>

#include "geom/model/keel/export.h"
#include "geom/model/keel/values.h"
#include "geom/model/keel/vectors.h"
#include "geom/model/trellis/bounding_box.h"
#include "geom/model/trellis/compact_mesh.h"
#include "geom/model/trellis/octree.h"
#include "geom/model/trellis/octree_records.h"

namespace qvGeom {

class PacketWalk;

/// Four rays from one origin, traced together in single precision, one in each lane. The rules are those of
/// intersectRayTriangle, with `qvLinear::epsilonTolFlt` for the bounds; rays that pass within rounding of an
/// edge may slip between two triangles. Hits add up over calls until the packet is built anew. One thread at
/// a time.
class QVGEOM_API QuadRay {
 public:
  /// @param nearest whether every lane looks for its nearest hit, or stops at its first
  QuadRay(const qvLinear::PointFlt& origin, const qvLinear::VectorFlt& d0, const qvLinear::VectorFlt& d1,
          const qvLinear::VectorFlt& d2, const qvLinear::VectorFlt& d3, bool nearest);

  /// Mean of the four directions, not normalised.
  const qvLinear::VectorFlt& meanDirection() const { return meanDirection_; }
  /// Whether no further triangle can matter: all lanes have hit and none looks for its nearest hit.
  bool allRaysTerminated() const { return !nearest_ && hits_ == 15; }
  /// Whether lane 0 to 3 has hit a triangle.
  bool triHit(int lane) const { return (hits_ >> lane & 1) != 0; }
  /// Smallest ray parameter of the hits in that lane; the largest float before the first.
  float triIntersectionRayParam(int lane) const { return t_[lane]; }

  /// Bit i of `lanes`: ray i enters the box before its nearest hit, and not behind its origin. A ray that
  /// runs within the plane of a side touches the box. Lanes that have hit are left out unless looking for the
  /// nearest.
  void intersect(const BoundingBox& box, qvUtil::BitField32& lanes) const;
  /// Tests all lanes against a triangle and records what they hit.
  void intersect(const MeshTriangle& triangle, MeshVertex const* vertices);

  /// Sets the distance below which back faces do not count, for all packets; `qvLinear::epsilonTolFlt` at
  /// first. Not while rays are being traced.
  static void setBackfaceCullDistance(float distance);

 private:
  friend class PacketWalk;

  qvLinear::VectorFlt meanDirection_;
  int hits_ = 0;
  alignas(16) float origin_[4];
  float direction_[3][4];  // x of all lanes, then y, then z
  float inverse_[3][4];    // of the directions; infinite for a zero component
  float t_[4];
  bool nearest_;
};

/// Visits, depth first, the leaf voxels that at least one ray of a packet meets. Octree and packet must
/// outlive the iteration; the packet may take hits during it, which lets lanes end.
class QVGEOM_API OctreeQuadRayIntersectIt {
 public:
  /// Exhausted until `reset`.
  explicit OctreeQuadRayIntersectIt(const Octree& octree);
  /// Children in ascending order.
  OctreeQuadRayIntersectIt(const Octree& octree, QuadRay& packet);
  ~OctreeQuadRayIntersectIt();
  OctreeQuadRayIntersectIt(const OctreeQuadRayIntersectIt&) = delete;
  OctreeQuadRayIntersectIt& operator=(const OctreeQuadRayIntersectIt&) = delete;

  /// @param ordered whether siblings come front to back along the packet's mean direction, or in ascending
  /// order
  void reset(QuadRay& packet, bool ordered);
  bool valid() const { return size_ > 0; }
  /// The current leaf; a default iterator when exhausted.
  OctreeIterator get() const;
  /// While `valid`.
  void next();

 private:
  struct Entry {
    OctreeIterator node;
    int lanes = 0;  // that met its box when it was pushed
  };

  void push(const OctreeIterator& node);

  int order_[8] = {};
  const Octree& octree_;
  QuadRay* packet_ = nullptr;
  std::unique_ptr<Entry[]> stack_;
  int size_ = 0;
};

/// Shoots packets at a mesh. What does not fit together counts as empty, as for RayTracer. Construction O(T).
class QVGEOM_API QuadRayTracer : public OctreeQuadRayIntersectIt {
 public:
  QuadRayTracer(Octree const& octree, OctreeTris const& octreeTris, CompactMesh const* mesh);
  ~QuadRayTracer();

  /// Adds the hits on the mesh to the packet. Voxels are visited with siblings in ascending order, which
  /// decides the hits that lanes stop at when they do not look for the nearest.
  void intersect(QuadRay& packet);

 private:
  std::unique_ptr<PacketWalk> walk_;
};

}  // namespace qvGeom
