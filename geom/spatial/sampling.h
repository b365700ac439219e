#pragma once

#include "geom/model/keel/containers.h"
#include "geom/model/keel/export.h"
#include "geom/model/keel/vectors.h"

namespace qvGeom {

// Points and directions that cover a square, a sphere or a hemisphere evenly. Indices into tables are taken
// modulo their size, negative ones as if they were unsigned; a table that was not calculated, or could not
// be, answers 0.

/// The numbers 0 to 2^k - 1 with their bits reversed, and the pairings of numbers that follow from it.
class QVGEOM_API HammersleyPermutation2 {
 public:
  /// @param k 0 to 15; anything else leaves an empty table
  void calculate(int k);
  int operator[](int i) const;
  /// Rank of a cell of an n x n tile, n = 2^k, that repeats in both directions.
  int map2d(int x, int y) const;
  /// The same for cell i of rows that are p cells long; 0 for p = 0.
  int mapPeriodic(int i, int p) const;

 private:
  qv::vector<int> table_;
};

/// Radical inverses in bases 3, 5 and 7 with scrambled digits: points of [0, 1) of low discrepancy.
/// After H. Faure, Good permutations for extreme discrepancy (1992).
class QVGEOM_API ScrambledHammersleySequence {
 public:
  /// @param base  3, 5 or 7; anything else leaves an empty table
  /// @param count number of values
  void calculate(int base, int count);
  float operator[](int i) const;

 private:
  qv::vector<float> values_;
};

/// A random direction of unit length, evenly distributed; from qvUtil::drand48, three numbers or more.
QVGEOM_API void randomUnitVector(qvLinear::Vector& v);

/// Replaces every element by a random unit vector on the side that `normal` points to.
QVGEOM_API void computeHemisphereVectors(const qvLinear::Vector& normal,
                                         qv::vector<qvLinear::Vector>& vectors);

/// Maps the unit square to the unit sphere, keeping areas in proportion: u goes once around z, v from the
/// bottom (0) to the top (1).
QVGEOM_API void mapSphericalToUniformCartesian(float u, float v, qvLinear::VectorFlt& out);

/// Maps the unit square to the cap of height h around +z, keeping areas in proportion; v = 0 is its top.
/// @param h 0 to 2, which is the whole sphere
QVGEOM_API void mapSphericalCapToUniformCartesian(float u, float v, float h, qvLinear::VectorFlt& out);

/// Inverse of mapSphericalToUniformCartesian. @param w of unit length; near the poles u is 0
QVGEOM_API void mapUniformCartesianToSpherical(const qvLinear::VectorFlt& w, float& u, float& v);

}  // namespace qvGeom
