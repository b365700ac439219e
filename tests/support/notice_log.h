#pragma once

#include <ostream>
#include <vector>

#include "geom/model/keel/signals.h"
#include "geom/model/trellis/entity.h"
#include "geom/model/trellis/point_mesh.h"

namespace qvGeom {

/// What a change notice said.
struct Notice {
  MeshModification::Type type;
  unsigned flags;

  friend bool operator==(const Notice&, const Notice&) = default;
  friend std::ostream& operator<<(std::ostream& os, const Notice& n) {
    return os << "type " << n.type << ", flags " << std::hex << n.flags << std::dec;
  }
};
using Notices = std::vector<Notice>;

/// Collects the notices that a mesh sends while this lives.
class NoticeLog {
 public:
  explicit NoticeLog(const PointMesh& mesh) {
    mesh.changeSignal().connect(client_, [this, &mesh](EntityModification& modification) {
      const auto& m = dynamic_cast<MeshModification&>(modification);
      const bool plain =
          m.getEntity() == &mesh && m.getRemap() == nullptr && m.modifiedVertexAttribs().empty();
      sent.push_back({m.getType(), plain ? m.flags() : ~0u});
    });
  }
  Notices sent;

 private:
  qvRTB::SignalBase client_;
};

}  // namespace qvGeom
