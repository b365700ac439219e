#pragma once

// Planar points for the benchmarks, and hulls of several libraries over them.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <random>
#include <string>

#include "geom/planar/convex_hull.h"

namespace qvGeom {

enum class Scatter { square, disc, circle };

inline qv::vector<qvLinear::Point2> scatteredPoints(Scatter scatter, std::int64_t n) {
  std::mt19937 random(1);
  std::uniform_real_distribution<double> uniform(0, 1);
  qv::vector<qvLinear::Point2> points(static_cast<std::size_t>(n));
  for (qvLinear::Point2& p : points) {
    p = {uniform(random), uniform(random)};
    if (scatter == Scatter::square) continue;
    const double turn = 2 * M_PI * p[0], radius = scatter == Scatter::disc ? std::sqrt(p[1]) : 1;
    p = {radius * std::cos(turn), radius * std::sin(turn)};
  }
  return points;
}

/// Finds a hull and returns how many vertices it has.
using FindHull = std::function<std::size_t()>;
/// What is done for each library before its time counts; the points outlive it.
FindHull prepareOurHull(const qv::vector<qvLinear::Point2>& points);
FindHull prepareCgalHull(const qv::vector<qvLinear::Point2>& points);

}  // namespace qvGeom
