#pragma once

namespace qvLinear {

// Every tolerance of the library. All are compile-time constants, since other constants are derived from them
// before main. The values pull in opposite directions; read the users before changing one.

/// Model units, and absolute bounds of the same order: breakdown of the conjugate-gradient solver, degenerate
/// lengths, planarity. Larger values stop the solver before a flattened patch is accurate (1e-6 costs a unit
/// bump 12 %); smaller ones drown in the rounding of squared distances of coordinates around a thousand.
inline constexpr double epsilonTol = 1e-10;

/// The single-precision counterpart, for values computed in float: ray parameters, areas, matrix entries.
/// Packet rays must agree with single rays, whose bounds are written as 1e-6.
inline constexpr float epsilonTolFlt = 1e-6f;

/// Squared model units: a vector shorter than its root has no direction.
inline constexpr double epsilon2Tol = 1e-20;

/// Sine of the largest angle between directions that count as parallel.
inline constexpr double parallelTol = 1e-6;

/// Squared cosine below which two directions count as perpendicular.
inline constexpr double perpendicular2Tol = 1e-12;

}  // namespace qvLinear
