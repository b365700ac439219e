#pragma once

#include <cstddef>

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/keel/reference.h"
#include "geom/model/keel/strings.h"
#include "geom/model/trellis/array.h"
#include "geom/model/trellis/bit_vector.h"
#include "geom/model/trellis/elements.h"
#include "geom/model/trellis/entity.h"
#include "geom/model/trellis/mesh_attributes.h"

namespace qvGeom {

/// Vertices with their per-vertex data. Every per-vertex array is a named channel; positions, normals and the
/// two sets of texture coordinates are channels with fixed names and accessors of their own.
///
/// All per-vertex arrays that exist have one value per vertex at all times. The selection does not follow: it
/// may be shorter, and what lies past its end is not selected. Pointers into arrays hold until the next call
/// that changes a count or adds or deletes an array.
class QVGEOM_API PointMesh : public Entity {
 public:
  /// Names of the built-in channels.
  static const qvString::CString VerticesName;
  static const qvString::CString NormalsName;
  static const qvString::CString UVsName;
  static const qvString::CString STsName;

  PointMesh();
  /// Copies arrays, flags and selection; listeners and references stay with the original. Assigning sends no
  /// notice.
  PointMesh(const PointMesh& other);
  PointMesh& operator=(const PointMesh& other);
  ~PointMesh() override;
  void swap(PointMesh& other) noexcept;

  /// Moves the arrays into storage of the given allocator, which later arrays use too; null is the default.
  virtual void setArrayAllocator(qv::Reference<ArrayAllocator> allocator);
  const qv::Reference<ArrayAllocator>& getArrayAllocator() const { return allocator_; }
  /// Receives the notice of a change and hands it to the listeners; the mesh itself stays as it is.
  virtual void modified(MeshModification& modification);
  virtual std::size_t getSizeInBytes() const;

  int getNumVertices() const { return channels_.front().getNumElements(); }
  /// The vertices as records, or as floats [V][3]; null without vertices.
  MeshVertex* getVertices() { return reinterpret_cast<MeshVertex*>(getVerticesRaw()); }
  MeshVertex const* getVertices() const { return reinterpret_cast<MeshVertex const*>(getVerticesRaw()); }
  float* getVerticesRaw() { return channels_.front().asFloat(); }
  float const* getVerticesRaw() const { return channels_.front().asFloat(); }
  /// Sets the number of vertices. In every per-vertex array leading values are kept and new ones are zero.
  void resizeVertexArray(int n);
  /// Sets the number of vertices to n and copies their positions.
  void copyVertices(int n, MeshVertex const* vertices);

  /// Normals as records, or as floats [V][3]; null when there is no such array (or no vertex).
  MeshNormal* getNormals() { return reinterpret_cast<MeshNormal*>(getNormalsRaw()); }
  MeshNormal const* getNormals() const { return reinterpret_cast<MeshNormal const*>(getNormalsRaw()); }
  float* getNormalsRaw() { return channelFloats(NormalsName); }
  float const* getNormalsRaw() const { return channelFloats(NormalsName); }
  /// Adds a zero normal per vertex; an array that exists is kept.
  void allocNormalArray();
  void deleteNormals();
  /// Whether the normals were derived from the geometry, and may be again, rather than supplied. Allocating
  /// and deleting normals set it to false.
  bool getNormalsComputed() const { return normalsComputed_; }
  void setNormalsComputed(bool computed) { normalsComputed_ = computed; }

  /// Texture coordinates as records, or as floats [V][2]; null when there is no such array (or no vertex).
  MeshUV* getUVs() { return reinterpret_cast<MeshUV*>(getUVsRaw()); }
  MeshUV const* getUVs() const { return reinterpret_cast<MeshUV const*>(getUVsRaw()); }
  float* getUVsRaw() { return channelFloats(UVsName); }
  float const* getUVsRaw() const { return channelFloats(UVsName); }
  void allocUVArray();
  void deleteUVs();
  /// The second set of texture coordinates.
  MeshUV* getSTs() { return reinterpret_cast<MeshUV*>(channelFloats(STsName)); }
  MeshUV const* getSTs() const { return reinterpret_cast<MeshUV const*>(channelFloats(STsName)); }
  void allocSTArray();
  void deleteSTs();

  /// All channels in order of creation, the positions first.
  int getNumAttributes() const { return static_cast<int>(channels_.size()); }
  MeshAttributes* getAttributes(int i) { return &*channelAt(i); }
  MeshAttributes const* getAttributes(int i) const { return &*channelAt(i); }
  /// The channel of that name, built-in ones included; null when there is none.
  MeshAttributes* getAttributes(qvString::CString const& name);
  MeshAttributes const* getAttributes(qvString::CString const& name) const;
  /// Adds a channel of zeros; one that exists with the same number of components is kept.
  /// @return null when `components` is outside 1 to 4, or differs from the channel of that name or from what
  /// a built-in name stands for
  MeshAttributes* allocAttributes(qvString::CString const& name, int components);
  /// Deletes the channel of that name, if there is one. The positions stay.
  void deleteAttributes(qvString::CString const& name);
  void getAttributeNames(qv::set<qvString::CString>& names) const;

  BitVector& getSelectedVertices() { return selectedVertices_; }
  BitVector const& getSelectedVertices() const { return selectedVertices_; }

 private:
  qv::list<MeshAttributes>::iterator channelAt(int i);
  qv::list<MeshAttributes>::const_iterator channelAt(int i) const;
  float* channelFloats(qvString::CString const& name);
  float const* channelFloats(qvString::CString const& name) const;

  qv::list<MeshAttributes> channels_;  // a list: a channel stays where it is while others come and go
  BitVector selectedVertices_;
  bool normalsComputed_ = false;
  qv::Reference<ArrayAllocator> allocator_;
};

}  // namespace qvGeom
