#pragma once

#include <cstdint>

#include "geom/model/trellis/compact_mesh.h"

namespace tool {

/// A mesh as a scanner might deliver it, for trying out repairs: a knotted tube with bumps, taken in five
/// pieces that meet along unwelded seams, with a little noise, six holes, and some triangles doubled or
/// turned round. The same arguments give the same mesh.
/// @param triangles about how many, at least 500
qvGeom::CompactMesh makeScan(int triangles, std::uint32_t seed);

}  // namespace tool
