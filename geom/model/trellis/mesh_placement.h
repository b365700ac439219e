#pragma once

#include "geom/model/keel/matrices.h"

namespace qvGeom {

class CompactMesh;

/// A mesh put somewhere: a list of these describes an arrangement. The mesh is borrowed and may be null.
struct MeshPlacement {
  qvLinear::AffineMatrixFlt transform;
  CompactMesh* mesh = nullptr;
};

/// The coordinates that a measure works on. Other values of the host's are not valid for this library's
/// measures, which then answer 0.
enum class MeshChannel : int {
  vertices = 0,
  uvs = 2,
  sts = 3,
};

}  // namespace qvGeom
