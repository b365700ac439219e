#include "geom/model/trellis/compact_mesh.h"

#include <algorithm>
#include <utility>

namespace qvGeom {

CompactMesh::CompactMesh() = default;

CompactMesh::CompactMesh(int numVertices, MeshVertex const* vertices, MeshNormal const* normals,
                         MeshUV const* uvs, MeshColour const*) {
  copyVertices(numVertices, vertices);
  if (normals) {
    allocNormalArray();
    std::copy_n(normals, getNumVertices(), getNormals());
  }
  if (uvs) {
    allocUVArray();
    std::copy_n(uvs, getNumVertices(), getUVs());
  }
}

CompactMesh::CompactMesh(const CompactMesh& other) = default;

CompactMesh& CompactMesh::operator=(const CompactMesh& other) {
  CompactMesh copy(other);
  swap(copy);
  return *this;
}

CompactMesh::~CompactMesh() = default;

void CompactMesh::swap(CompactMesh& other) noexcept {
  PointMesh::swap(other);
  triangles_.swap(other.triangles_);
  triangleNormals_.swap(other.triangleNormals_);
  std::swap(hasTriangleNormals_, other.hasTriangleNormals_);
  triStrips_.swap(other.triStrips_);
  triFans_.swap(other.triFans_);
  lines_.swap(other.lines_);
  lineStrips_.swap(other.lineStrips_);
  lineStripStarts_.swap(other.lineStripStarts_);
  selectedTriangles_.swap(other.selectedTriangles_);
}

// Stated here although they only pass on: the order of a mesh's virtual operations is part of its binary
// interface.
void CompactMesh::sendMessage(EntityModification& message) const { Entity::sendMessage(message); }
void CompactMesh::resendMessage(EntityModification& message) const { Entity::resendMessage(message); }
void CompactMesh::modified(MeshModification& modification) { sendMessage(modification); }

void CompactMesh::setArrayAllocator(qv::Reference<ArrayAllocator> allocator) {
  triangles_.setAllocator(allocator);
  triangleNormals_.setAllocator(allocator);
  lines_.setAllocator(allocator);
  for (Runs* runs : {&triStrips_, &triFans_, &lineStrips_}) {
    runs->lengths.setAllocator(allocator);
    runs->points.setAllocator(allocator);
  }
  PointMesh::setArrayAllocator(std::move(allocator));
}

std::size_t CompactMesh::getSizeInBytes() const {
  std::size_t bytes = PointMesh::getSizeInBytes() + sizeof(*this) - sizeof(PointMesh);
  bytes += triangles_.getSizeInBytes() + triangleNormals_.getSizeInBytes() + lines_.getSizeInBytes();
  bytes += lineStripStarts_.getSizeInBytes() + selectedTriangles_.numWords() * sizeof(std::uint32_t);
  for (const Runs* runs : {&triStrips_, &triFans_, &lineStrips_})
    bytes += runs->lengths.getSizeInBytes() + runs->points.getSizeInBytes();
  return bytes;
}

void CompactMesh::resizeTriangleArray(int n) {
  if (hasTriangleNormals_) triangleNormals_.reserve(n);
  triangles_.resize(n);
  if (hasTriangleNormals_) triangleNormals_.resize(n);
}

void CompactMesh::copyTriangles(int n, int const* indices) {
  if (hasTriangleNormals_) triangleNormals_.reserve(n);
  triangles_.assign(reinterpret_cast<MeshTriangle const*>(indices), n);
  if (hasTriangleNormals_) triangleNormals_.resize(triangles_.size());
}

void CompactMesh::allocTriangleNormalArray() {
  hasTriangleNormals_ = true;
  triangleNormals_.resize(triangles_.size());
}

void CompactMesh::deleteTriangleNormals() {
  hasTriangleNormals_ = false;
  triangleNormals_.resize(0);
}

int const* CompactMesh::getLineStripStarts() const {
  lineStripStarts_.resizeForOverwrite(getNumLineStrips());
  int total = 0;
  for (int i = 0; i < getNumLineStrips(); ++i) {
    lineStripStarts_[i] = total;
    total += lineStrips_.lengths[i];
  }
  return lineStripStarts_.data();
}

void CompactMesh::clearSelection() {
  getSelectedVertices().resize(0);
  selectedTriangles_.resize(0);
}

}  // namespace qvGeom
