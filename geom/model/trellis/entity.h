#pragma once

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/keel/reference.h"
#include "geom/model/keel/signals.h"
#include "geom/model/keel/strings.h"

namespace qvGeom {

class Entity;
class PointMesh;
struct MeshRemap;

/// What changed in an entity. Handed to listeners by reference; lives on the stack of the change.
class QVGEOM_API EntityModification {
 public:
  explicit EntityModification(Entity const* entity) : entity_(entity) {}
  EntityModification(const EntityModification&) = delete;
  EntityModification& operator=(const EntityModification&) = delete;
  virtual ~EntityModification();

  Entity const* getEntity() const { return entity_; }

 private:
  Entity const* entity_;
};

/// Something that others listen to: it tells of its changes and of its end.
/// A copy is a new entity without listeners, and assignment moves none.
class QVGEOM_API Entity : public qv::ReferenceCount {
 public:
  using ChangeSignal = qvRTB::Signal1Arg<EntityModification&>;
  using DestructionSignal = qvRTB::Signal1Arg<Entity*>;

  Entity() = default;
  Entity(const Entity& other) : qv::ReferenceCount(other) {}
  Entity& operator=(const Entity&) { return *this; }
  ~Entity() override;

  /// Hands a notice to every listener, in the order of connecting.
  virtual void sendMessage(EntityModification& message) const;
  /// Hands on a notice that another entity sent first.
  virtual void resendMessage(EntityModification& message) const;

  /// Connecting to an entity leaves it as it is, so that a cache can listen to a mesh that it may only read.
  ChangeSignal& changeSignal() const { return change_; }
  /// Sent when the derived parts are gone already: listeners may use the pointer as a key only.
  DestructionSignal& destructionSignal() const { return destruction_; }

 private:
  mutable ChangeSignal change_;
  mutable DestructionSignal destruction_;
};

/// One change of a mesh: its kind, the arrays that changed or are valid again, and how elements were
/// renumbered.
class QVGEOM_API MeshModification : public EntityModification {
 public:
  enum Type {
    GeometryModified = 0,    ///< positions changed
    TopologyModified = 1,    ///< elements added, removed or renumbered
    AttributesModified = 2,  ///< only attribute arrays changed
  };
  enum Flag : unsigned {
    NormalsModified = 1u << 0,
    NormalsValid = 1u << 1,
    UVsModified = 1u << 2,
    UVsValid = 1u << 3,
    STsModified = 1u << 4,
    STsValid = 1u << 5,
    ColoursValid = 1u << 6,
    TriangleNormalsModified = 1u << 7,
    TriangleNormalsValid = 1u << 8,
    StripsAndFansModified = 1u << 9,
    LinesModified = 1u << 10,
    LineStripsModified = 1u << 11,
    PolysModified = 1u << 12,
  };

  /// @param remap old to new numbers, borrowed for the time of the notice; null when elements kept theirs
  MeshModification(PointMesh const* mesh, Type type, MeshRemap* remap);
  ~MeshModification() override;

  Type getType() const { return type_; }
  MeshRemap* getRemap() const { return remap_; }

  void normalsModified() { flags_ |= NormalsModified; }
  void normalsValid() { flags_ |= NormalsValid; }
  void uvsModified() { flags_ |= UVsModified; }
  void uvsValid() { flags_ |= UVsValid; }
  void stsModified() { flags_ |= STsModified; }
  void stsValid() { flags_ |= STsValid; }
  void coloursValid() { flags_ |= ColoursValid; }
  void triangleNormalsModified() { flags_ |= TriangleNormalsModified; }
  void triangleNormalsValid() { flags_ |= TriangleNormalsValid; }
  void stripsAndFansModified() { flags_ |= StripsAndFansModified; }
  void linesModified() { flags_ |= LinesModified; }
  void lineStripsModified() { flags_ |= LineStripsModified; }
  void polysModified() { flags_ |= PolysModified; }
  void vertexAttribsModified(qvString::CString const& name) { vertexAttribs_.insert(name); }

  bool has(Flag flag) const { return (flags_ & flag) != 0; }
  /// All flags that were recorded.
  unsigned flags() const { return flags_; }
  /// Names of the channels recorded as modified.
  const qv::set<qvString::CString>& modifiedVertexAttribs() const { return vertexAttribs_; }

 private:
  Type type_;
  MeshRemap* remap_;
  unsigned flags_ = 0;
  qv::set<qvString::CString> vertexAttribs_;
};

}  // namespace qvGeom
