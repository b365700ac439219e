#include "geom/model/trellis/array.h"

namespace qvGeom {

ArrayAllocator::~ArrayAllocator() = default;

}  // namespace qvGeom
