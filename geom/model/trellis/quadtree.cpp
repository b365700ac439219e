#include "geom/model/trellis/quadtree.h"

namespace qvGeom {

Quadtree::Quadtree(int n, float const* points, const BoundingBox& box, int perLeaf)
    : tree_(n, points, box, perLeaf) {}

Quadtree::~Quadtree() = default;

}  // namespace qvGeom
