#include "geom/spatial/scene_bounding_box.h"

#include "geom/model/keel/tolerances.h"

namespace qvGeom {

void SceneBoundingBox::reset() {
  tracking_.setInvalid();
  scene_.setInvalid();
}

void SceneBoundingBox::addItemBox(const BoundingBox& box) {
  tracking_.extend(box);
  scene_.extend(box);
}

void SceneBoundingBox::removeItemBox(const BoundingBox& box) {
  for (int k = 0; k < 3; ++k) {
    float& min = tracking_.min[k];
    float& max = tracking_.max[k];
    if (max < min || box.min[k] > max || box.max[k] < min) continue;
    const bool atMax = box.max[k] == max;
    if (box.min[k] == min) {
      if (atMax) {
        min = BoundingBox::kEmpty;
        max = -BoundingBox::kEmpty;
      } else {
        min = max;
      }
    } else if (atMax) {
      max = min;
    }
  }
}

bool SceneBoundingBox::known() const { return equivalent(tracking_, scene_, qvLinear::epsilonTolFlt); }

}  // namespace qvGeom
