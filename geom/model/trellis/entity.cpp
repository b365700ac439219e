#include "geom/model/trellis/entity.h"

#include "geom/model/trellis/point_mesh.h"

namespace qvGeom {

EntityModification::~EntityModification() = default;
MeshModification::~MeshModification() = default;

Entity::~Entity() { destruction_.emit(this); }

void Entity::sendMessage(EntityModification& message) const { change_.emit(message); }

void Entity::resendMessage(EntityModification& message) const { change_.emit(message); }

MeshModification::MeshModification(PointMesh const* mesh, Type type, MeshRemap* remap)
    : EntityModification(mesh), type_(type), remap_(remap) {}

}  // namespace qvGeom
