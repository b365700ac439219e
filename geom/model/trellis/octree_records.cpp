#include "geom/model/trellis/octree_records.h"

namespace qvGeom {

// Out of line so that the type information of these records lives in this library alone.
OctreeTris::~OctreeTris() = default;
OctreeLines::~OctreeLines() = default;

}  // namespace qvGeom
