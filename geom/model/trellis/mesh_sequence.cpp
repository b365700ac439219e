#include "geom/model/trellis/mesh_sequence.h"

#include <algorithm>

namespace qvGeom {

MeshSubset::MeshSubset(int numVertices, int const* vertices, int numTriangles, int const* triangles) {
  vertices_.assign(vertices, numVertices);
  triangles_.assign(triangles, numTriangles);
}

MeshSubset::~MeshSubset() = default;

void MeshSequence::addRun(int n, MeshCoord const* coords) {
  starts_.push_back(getNumCoords());
  coords_.insert(coords_.end(), coords, coords + std::max(n, 0));
}

void MeshSequence::clearStartsAndOffsets() { starts_.resize(coords_.empty() ? 0 : 1); }

}  // namespace qvGeom
