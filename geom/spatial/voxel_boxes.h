#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "geom/model/keel/containers.h"
#include "geom/model/keel/lanes.h"
#include "geom/model/trellis/compact_mesh.h"
#include "geom/model/trellis/octree.h"
#include "geom/model/trellis/octree_records.h"

namespace qvGeom {

/// For every voxel the boxes of its triangles, in a sixth of the memory that their corners take and all in
/// one place: a query rules out most triangles without fetching them from the mesh. Made for a voxel when a
/// query first comes there.
///
/// Bounds are bytes in units of the voxel's frame, rounded outwards. Four triangles to a group, in the order
/// of the partition; the last group is filled up with boxes of no meaning.
class VoxelBoxes {
 public:
  struct Group {
    std::uint8_t lower[3][4];  // by axis, then triangle
    std::uint8_t upper[3][4];
  };
  /// Bound b along axis k is at origin[k] + b step[k]. A step of NaN stands for a frame beyond the range of
  /// floats.
  struct Voxel {
    float origin[3];
    float step[3];
    int first = 0;   // of its triangles, among the members of the partition
    int count = -1;  // of its triangles; -1 until made
  };

  /// A ray meets a triangle within the voxels that list it, and the part in each is enough for it. The
  /// nearest point of a triangle may lie in another voxel than the one in which the triangle is met first.
  enum class Extent { wholeTriangle, partInVoxel };

  /// Octree, partition and mesh must belong together and outlive this.
  VoxelBoxes(const Octree& octree, const OctreeTris& octreeTris, const CompactMesh* mesh, Extent extent);

  /// The voxel, made if it was not.
  const Voxel& get(int voxel) {
    if (voxels_[static_cast<std::size_t>(voxel)].count < 0) make(voxel);
    return voxels_[static_cast<std::size_t>(voxel)];
  }
  Group const* groups(int voxel) const { return groups_.get() + firstGroup(voxel); }
  int const* triangles(const Voxel& voxel) const {
    return octreeTris_.getData().members.begin() + voxel.first;
  }
  void prefetch(int voxel) const { qvUtil::prefetch(&voxels_[static_cast<std::size_t>(voxel)]); }
  /// Once the voxel itself was, or nothing is gained.
  void prefetchGroups(int voxel) const {
    char const* begin = reinterpret_cast<char const*>(groups(voxel));
    for (int line = 0; line < 4; ++line) qvUtil::prefetch(begin + 64 * line);
  }

 private:
  // Lists may end within a group; one spare group a voxel keeps them apart.
  std::ptrdiff_t firstGroup(int voxel) const {
    return voxels_[static_cast<std::size_t>(voxel)].first / 4 + std::ptrdiff_t{voxel};
  }
  void make(int voxel);

  const Octree& octree_;
  const OctreeTris& octreeTris_;
  Extent extent_;
  float const* vertices_;
  int const* triangles_;
  qv::vector<int> nodes_;  // of the octree, by voxel
  qv::vector<Voxel> voxels_;
  std::unique_ptr<Group[]> groups_;
  qv::vector<BoundingBox> boxes_;  // of the voxel being made
};

}  // namespace qvGeom
