#include "geom/spatial/voxel_boxes.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace qvGeom {
namespace {

// The part of a triangle's box that lies in the voxel; of one that touches it by rounding alone, the nearest.
BoundingBox clipped(const BoundingBox& box, const BoundingBox& voxel) {
  BoundingBox result;
  for (int k = 0; k < 3; ++k) {
    result.min[k] = std::clamp(box.min[k], voxel.min[k], voxel.max[k]);
    result.max[k] = std::clamp(box.max[k], voxel.min[k], voxel.max[k]);
  }
  return result;
}

// NaN, of a box that holds nothing, is as good as any.
std::uint8_t toByte(float x) {
  return x > 0 ? static_cast<std::uint8_t>(x < 255 ? x : 255) : std::uint8_t{0};
}

}  // namespace

VoxelBoxes::VoxelBoxes(const Octree& octree, const OctreeTris& octreeTris, const CompactMesh* mesh,
                       Extent extent)
    : octree_(octree),
      octreeTris_(octreeTris),
      extent_(extent),
      vertices_(mesh ? mesh->getVerticesRaw() : nullptr),
      triangles_(mesh ? mesh->getTrianglesRaw() : nullptr) {
  const std::size_t voxels = static_cast<std::size_t>(octree.getNumVoxels());
  nodes_.resize(voxels);
  voxels_.resize(voxels);
  const Array<int>& starts = octreeTris.getData().setStarts;
  for (int v = 0; v < starts.size() && v < octree.getNumVoxels(); ++v)
    voxels_[static_cast<std::size_t>(v)].first = starts[v];
  const qv::vector<Octree::Node>& nodes = octree.getNodes();
  for (std::size_t i = 0; i < nodes.size(); ++i)
    if (nodes[i].leaf >= 0) nodes_[static_cast<std::size_t>(nodes[i].leaf)] = static_cast<int>(i);
  groups_ = std::make_unique_for_overwrite<Group[]>(
      static_cast<std::size_t>(octreeTris.getData().members.size()) / 4 + voxels + 1);
}

void VoxelBoxes::make(int voxel) {
  Voxel& made = voxels_[static_cast<std::size_t>(voxel)];
  const BoundingBox& voxelBox =
      octree_.getNodes()[static_cast<std::size_t>(nodes_[static_cast<std::size_t>(voxel)])].box;
  int const* list = octreeTris_.firstTri(voxel);
  const int count = octreeTris_.numTris(voxel);
  boxes_.clear();
  BoundingBox whole;
  for (int i = 0; i < count; ++i) {
    int const* corners = triangles_ + std::ptrdiff_t{3} * list[i];
    BoundingBox box;
    for (int c = 0; c < 3; ++c) box.extend(vertices_ + std::ptrdiff_t{3} * corners[c]);
    boxes_.push_back(extent_ == Extent::partInVoxel ? clipped(box, voxelBox) : box);
    whole.extend(boxes_.back());
  }

  float toBytes[3];
  for (int k = 0; k < 3; ++k) {
    const float extent = whole.max[k] - whole.min[k];
    made.origin[k] = whole.min[k];
    // A little long, so that 255 steps reach the end.
    made.step[k] =
        extent >= 0 && extent < 1e37f ? extent * (1.00001f / 255) : std::numeric_limits<float>::quiet_NaN();
    toBytes[k] = made.step[k] > 1e-37f ? 1 / made.step[k] : 0;
  }
  Group* groups = groups_.get() + firstGroup(voxel);
  for (int i = 0; i < count; ++i) {
    const BoundingBox& box = boxes_[static_cast<std::size_t>(i)];
    Group& group = groups[i / 4];
    for (int k = 0; k < 3; ++k) {
      group.lower[k][i % 4] = toByte((box.min[k] - made.origin[k]) * toBytes[k] - 0.01f);
      group.upper[k][i % 4] = toByte((box.max[k] - made.origin[k]) * toBytes[k] + 1.01f);
    }
  }
  for (int i = count; i % 4 != 0; ++i)
    for (int k = 0; k < 3; ++k) groups[i / 4].lower[k][i % 4] = groups[i / 4].upper[k][i % 4] = 0;
  made.count = count;
}

}  // namespace qvGeom
