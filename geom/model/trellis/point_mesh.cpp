#include "geom/model/trellis/point_mesh.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace qvGeom {

using qvString::CString;

const CString PointMesh::VerticesName("vertices");
const CString PointMesh::NormalsName("normals");
const CString PointMesh::UVsName("uvs");
const CString PointMesh::STsName("sts");

namespace {

// Number of components that a built-in name stands for; 0 for names that are free.
int builtInComponents(CString const& name) {
  if (name == PointMesh::VerticesName || name == PointMesh::NormalsName) return 3;
  if (name == PointMesh::UVsName || name == PointMesh::STsName) return 2;
  return 0;
}

}  // namespace

PointMesh::PointMesh() { channels_.emplace_back(VerticesName, 3, 0); }

PointMesh::PointMesh(const PointMesh& other) = default;

PointMesh& PointMesh::operator=(const PointMesh& other) {
  PointMesh copy(other);
  swap(copy);
  return *this;
}

PointMesh::~PointMesh() = default;

void PointMesh::swap(PointMesh& other) noexcept {
  channels_.swap(other.channels_);
  selectedVertices_.swap(other.selectedVertices_);
  std::swap(normalsComputed_, other.normalsComputed_);
  std::swap(allocator_, other.allocator_);
}

void PointMesh::setArrayAllocator(qv::Reference<ArrayAllocator> allocator) {
  for (MeshAttributes& channel : channels_) channel.setAllocator(allocator);
  allocator_ = std::move(allocator);
}

void PointMesh::modified(MeshModification& modification) { sendMessage(modification); }

std::size_t PointMesh::getSizeInBytes() const {
  std::size_t bytes = sizeof(*this) + selectedVertices_.numWords() * sizeof(std::uint32_t);
  for (const MeshAttributes& channel : channels_) bytes += channel.getSizeInBytes();
  return bytes;
}

void PointMesh::resizeVertexArray(int n) {
  // All the memory first: running out of it must not leave arrays of different lengths.
  for (MeshAttributes& channel : channels_) channel.reserve(n);
  for (MeshAttributes& channel : channels_) channel.resize(n);
}

void PointMesh::copyVertices(int n, MeshVertex const* vertices) {
  resizeVertexArray(n);
  std::copy_n(vertices, getNumVertices(), getVertices());
}

void PointMesh::allocNormalArray() {
  allocAttributes(NormalsName, 3);
  normalsComputed_ = false;
}

void PointMesh::deleteNormals() { deleteAttributes(NormalsName); }
void PointMesh::allocUVArray() { allocAttributes(UVsName, 2); }
void PointMesh::deleteUVs() { deleteAttributes(UVsName); }
void PointMesh::allocSTArray() { allocAttributes(STsName, 2); }
void PointMesh::deleteSTs() { deleteAttributes(STsName); }

MeshAttributes* PointMesh::getAttributes(CString const& name) {
  const auto it = std::find_if(channels_.begin(), channels_.end(),
                               [&](const MeshAttributes& channel) { return channel.getName() == name; });
  return it == channels_.end() ? nullptr : &*it;
}

MeshAttributes const* PointMesh::getAttributes(CString const& name) const {
  return const_cast<PointMesh*>(this)->getAttributes(name);
}

MeshAttributes* PointMesh::allocAttributes(CString const& name, int components) {
  if (components < 1 || components > 4) return nullptr;
  if (MeshAttributes* existing = getAttributes(name))
    return existing->getNumComponents() == components ? existing : nullptr;
  if (builtInComponents(name) != 0 && builtInComponents(name) != components) return nullptr;
  MeshAttributes channel(name, components, 0);
  channel.setAllocator(allocator_);
  channel.resize(getNumVertices());
  return &channels_.emplace_back(std::move(channel));
}

void PointMesh::deleteAttributes(CString const& name) {
  if (name == VerticesName) return;
  channels_.remove_if([&](const MeshAttributes& channel) { return channel.getName() == name; });
  if (name == NormalsName) normalsComputed_ = false;
}

void PointMesh::getAttributeNames(qv::set<CString>& names) const {
  names.clear();
  for (const MeshAttributes& channel : channels_) names.insert(channel.getName());
}

qv::list<MeshAttributes>::iterator PointMesh::channelAt(int i) { return std::next(channels_.begin(), i); }

qv::list<MeshAttributes>::const_iterator PointMesh::channelAt(int i) const {
  return std::next(channels_.begin(), i);
}

float* PointMesh::channelFloats(CString const& name) {
  MeshAttributes* channel = getAttributes(name);
  return channel ? channel->asFloat() : nullptr;
}

float const* PointMesh::channelFloats(CString const& name) const {
  return const_cast<PointMesh*>(this)->channelFloats(name);
}

}  // namespace qvGeom
