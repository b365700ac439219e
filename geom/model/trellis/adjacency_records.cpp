#include "geom/model/trellis/adjacency_records.h"

#include <cstddef>
#include <utility>

namespace qvGeom {

MeshAdjTris::~MeshAdjTris() = default;
MeshAdjVertices::~MeshAdjVertices() = default;
MeshBoundaries::~MeshBoundaries() = default;

void MeshAdjTris::copyTriangles(int v, int* out, int const* triangles) const {
  int const* tris = triIndices(v);
  for (int i = 0; i < numTris(v); ++i, out += 3) {
    int const* corners = triangles + std::ptrdiff_t{3} * tris[i];
    out[0] = corners[0];
    out[1] = corners[1];
    out[2] = corners[2];
  }
}

MeshAdjVertices::MeshAdjVertices(int numVertices, int maxValence, int* offsets, int* data)
    : numVertices_(numVertices), maxValence_(maxValence), offsets_(offsets), data_(data) {}

void MeshAdjVertices::swap(MeshAdjVertices& other) noexcept {
  std::swap(numVertices_, other.numVertices_);
  std::swap(maxValence_, other.maxValence_);
  offsets_.swap(other.offsets_);
  data_.swap(other.data_);
}

MeshBoundaries::MeshBoundaries(const Array<int>& lengths, const Array<int>& vertices) : vertices_(vertices) {
  starts_.resizeForOverwrite(lengths.size() + 1);
  int total = 0;
  for (int i = 0; i < lengths.size(); ++i) {
    starts_[i] = total;
    total += lengths[i];
  }
  starts_[lengths.size()] = total;
}

void MeshBoundaries::swap(MeshBoundaries& other) noexcept {
  starts_.swap(other.starts_);
  vertices_.swap(other.vertices_);
}

}  // namespace qvGeom
