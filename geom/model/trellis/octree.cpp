#include "geom/model/trellis/octree.h"

#include <cmath>
#include <utility>

namespace qvGeom {

Octree::Octree(int n, float const* points, const BoundingBox& box, bool /*flag*/, int perLeaf)
    : tree_(n, points, box, perLeaf) {}

Octree::~Octree() = default;

void Octree::getNodeOrdering(const qvLinear::Vector& dir, int order[8]) {
  // Two children are compared by the sum over the axes on which they differ, the longest component first.
  // The sign of that sum is exact, so that a component too small to change the projections of all eight still
  // puts the nearer of two neighbours in front.
  int axes[3] = {0, 1, 2};
  const auto putLongerFirst = [&](int& a, int& b) {
    if (std::fabs(dir[a]) < std::fabs(dir[b])) std::swap(a, b);
  };
  putLongerFirst(axes[0], axes[1]);
  putLongerFirst(axes[1], axes[2]);
  putLongerFirst(axes[0], axes[1]);
  const auto isBefore = [&](int a, int b) {
    double gap = 0;
    for (const int k : axes)
      if ((a ^ b) >> k & 1) gap += (a >> k & 1) ? dir[k] : -dir[k];
    return gap < 0;
  };
  // By insertion: stable, and a permutation even where NaN leaves nothing comparable.
  for (int child = 0; child < 8; ++child) {
    int place = child;
    for (; place > 0 && isBefore(child, order[place - 1]); --place) order[place] = order[place - 1];
    order[place] = child;
  }
}

}  // namespace qvGeom
