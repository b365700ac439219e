#pragma once

#include <cstddef>

#include "geom/model/keel/export.h"
#include "geom/model/keel/strings.h"
#include "geom/model/trellis/array.h"
#include "geom/model/trellis/elements.h"

namespace qvGeom {

/// Named channel of per-vertex values, each of 1 to 4 floats.
class QVGEOM_API MeshAttributes {
 public:
  /// All values zero. @param components 1 to 4, clamped
  MeshAttributes(const qvString::CString& name, int components, int elements);

  const qvString::CString& getName() const { return name_; }
  int getNumComponents() const { return components_; }
  int getNumElements() const { return values_.size() / components_; }

  /// The values one after another.
  float* asFloat() { return values_.data(); }
  float const* asFloat() const { return values_.data(); }
  /// The values as records of the channel's own width; null for a channel of another width.
  MeshFloat1* asFloat1() { return as<MeshFloat1>(1); }
  MeshFloat2* asFloat2() { return as<MeshFloat2>(2); }
  MeshFloat3* asFloat3() { return as<MeshFloat3>(3); }
  MeshFloat4* asFloat4() { return as<MeshFloat4>(4); }
  MeshUV* asMeshUV() { return as<MeshUV>(2); }
  MeshFloat1 const* asFloat1() const { return as<MeshFloat1>(1); }
  MeshFloat2 const* asFloat2() const { return as<MeshFloat2>(2); }
  MeshFloat3 const* asFloat3() const { return as<MeshFloat3>(3); }
  MeshFloat4 const* asFloat4() const { return as<MeshFloat4>(4); }
  MeshUV const* asMeshUV() const { return as<MeshUV>(2); }

  /// A mark for the host, copied with the channel.
  bool isStoreable() const { return storeable_; }
  void setStoreable(bool storeable) { storeable_ = storeable; }

  /// To be called after the values were written through a pointer.
  void invalidateRange() { ++version_; }
  /// Grows with every `invalidateRange`, so that a host can tell whether a copy of the values is current.
  unsigned int version() const { return version_; }

  /// Keeps the leading values; new ones are zero. Throws std::bad_alloc for more floats than an int can
  /// count.
  void resize(int elements);
  /// Makes room, so that resizing up to `elements` cannot fail.
  void reserve(int elements);
  void setAllocator(const qv::Reference<ArrayAllocator>& allocator) { values_.setAllocator(allocator); }
  std::size_t getSizeInBytes() const { return sizeof(*this) + values_.getSizeInBytes(); }

 private:
  template <typename Record>
  Record* as(int components) {
    return components == components_ ? reinterpret_cast<Record*>(values_.data()) : nullptr;
  }
  template <typename Record>
  Record const* as(int components) const {
    return components == components_ ? reinterpret_cast<Record const*>(values_.data()) : nullptr;
  }

  qvString::CString name_;
  int components_;
  bool storeable_ = true;
  unsigned int version_ = 0;
  Array<float> values_;
};

}  // namespace qvGeom
