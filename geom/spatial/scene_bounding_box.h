#pragma once

#include "geom/model/keel/export.h"
#include "geom/model/trellis/bounding_box.h"

namespace qvGeom {

/// The box of a scene whose items come and go. Adding is exact; once an item that reached the border of the
/// scene has been removed, the box is only known to be large enough, and the caller may build it anew from
/// the items that are left.
class QVGEOM_API SceneBoundingBox {
 public:
  /// Forgets all items.
  void reset();
  void addItemBox(const BoundingBox& box);
  /// @param box as it was added
  void removeItemBox(const BoundingBox& box);
  /// Whether the scene box is still the box of the items, to within `qvLinear::epsilonTolFlt`.
  bool known() const;
  /// Holds all items. Grows until `reset`.
  const BoundingBox& getSceneBox() const { return scene_; }

 private:
  BoundingBox
      tracking_;  // shrinks at sides from which an item was removed, and then differs from the scene's
  BoundingBox scene_;
};

}  // namespace qvGeom
