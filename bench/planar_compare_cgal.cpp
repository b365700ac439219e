// CGAL's hull with the kernel that decides in plain doubles, as ours does.

#include <CGAL/Simple_cartesian.h>
#include <CGAL/convex_hull_2.h>
#include <iterator>
#include <utility>
#include <vector>

#include "bench/planar_compare.h"

namespace qvGeom {

FindHull prepareCgalHull(const qv::vector<qvLinear::Point2>& points) {
  using Point = CGAL::Simple_cartesian<double>::Point_2;
  std::vector<Point> copies;
  for (const qvLinear::Point2& p : points) copies.emplace_back(p[0], p[1]);
  return [copies = std::move(copies)] {
    std::vector<Point> hull;
    CGAL::convex_hull_2(copies.begin(), copies.end(), std::back_inserter(hull));
    return hull.size();
  };
}

}  // namespace qvGeom
