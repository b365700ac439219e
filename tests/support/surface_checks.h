#pragma once

#include <gtest/gtest.h>

#include "geom/repair/characteristics.h"

#include "tests/support/mesh_checks.h"

namespace qvGeom {

/// Whether a mesh is a manifold, oriented surface of sound triangles with so many boundaries.
inline void expectSurface(CompactMesh& mesh, int boundaries) {
  expectSound(mesh);
  MeshCharacteristics characteristics(mesh);
  for (const auto test :
       {MeshCharacteristics::GoodTriangles, MeshCharacteristics::Manifold, MeshCharacteristics::Oriented})
    EXPECT_NE(characteristics.check(test), 0);
  EXPECT_EQ(Adjacency(mesh).boundaries.size(), boundaries);
}

}  // namespace qvGeom
