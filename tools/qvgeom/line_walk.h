#pragma once

#include <algorithm>
#include <cmath>
#include <utility>

#include "picture.h"

namespace tool {

/// One of the pixels that a line passes over.
struct LineDot {
  int x, y;
  float part;  ///< of the pixel that the line covers
};

/// Walks along a line as wide as a pixel: column by column, or row by row where it is steep. At each step the
/// line passes between the centres of two pixels and covers a part of each.
/// @param a, b  the line's ends; pixel (i, j) has its centre at (i, j)
/// @param visit called with the place along the line, 0 at `a` to 1 at `b`, and the two dots
template <typename Visit>
void walkLine(Place a, Place b, const Visit& visit) {
  const bool isSteep = std::fabs(b.y - a.y) > std::fabs(b.x - a.x);
  if (isSteep) {
    std::swap(a.x, a.y);
    std::swap(b.x, b.y);
  }
  const auto [least, greatest] = std::minmax(a.x, b.x);
  for (int x = static_cast<int>(std::lround(least)); x <= static_cast<int>(std::lround(greatest)); ++x) {
    const double t = a.x == b.x ? 0 : std::clamp((x - a.x) / (b.x - a.x), 0.0, 1.0);
    const double y = a.y + t * (b.y - a.y);
    const int row = static_cast<int>(std::floor(y));
    const auto part = static_cast<float>(y - row);
    if (isSteep)
      visit(t, LineDot{row, x, 1 - part}, LineDot{row + 1, x, part});
    else
      visit(t, LineDot{x, row, 1 - part}, LineDot{x, row + 1, part});
  }
}

}  // namespace tool
