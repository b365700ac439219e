#include "geom/planar/packing.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>

#include "geom/model/keel/channels.h"
#include "geom/model/keel/smp_sort.h"
#include "geom/model/keel/stop_watch.h"
#include "geom/model/keel/tolerances.h"

namespace qvGeom {

using qvLinear::Point2;
using qvLinear::Range2d;
using qvLinear::Vector2;

namespace {

constexpr double kEps = qvLinear::epsilonTol;

Vector2 sizeOf(const Range2d& r) { return r.max - r.min; }
double largerSide(const Range2d& r) { return std::max(r.max[0] - r.min[0], r.max[1] - r.min[1]); }

bool hasSize(const Range2d& r) {
  const Vector2 size = sizeOf(r);
  return size[0] >= 0 && size[1] >= 0 && std::isfinite(size[0]) && std::isfinite(size[1]);
}

bool fits(const Vector2& size, const Vector2& room) {
  return room[0] - size[0] >= -kEps && room[1] - size[1] >= -kEps;
}

// A binary tree of cuts, searched depth first, of which only the free leaves matter: they are kept in that
// order. Leaves stand in short blocks that know the largest width and height among their own, so that most
// blocks are passed by at a glance.
class SplitTree {
 public:
  /// @param ranges that are to be inserted: leaves too small for all of them are not kept
  explicit SplitTree(const qv::vector<Range2d>& ranges) : blocks_(1), least_(sizeOf(ranges.front())) {
    blocks_[0].add(Range2d::unitSquare);
    for (const Range2d& r : ranges)
      for (int k = 0; k < 2; ++k) least_[k] = std::min(least_[k], sizeOf(r)[k]);
  }

  /// Moves a rectangle to the first free leaf that takes it. False, with nothing changed, when there is none.
  bool insert(Range2d& range) {
    const Vector2 size = sizeOf(range);
    for (std::size_t b = 0; b < blocks_.size(); ++b) {
      if (!fits(size, blocks_[b].room)) continue;
      const qv::vector<Range2d>& leaves = blocks_[b].leaves;
      for (std::size_t i = 0; i < leaves.size(); ++i) {
        if (!fits(size, sizeOf(leaves[i]))) continue;
        range = cut(b, i, size);
        return true;
      }
    }
    return false;
  }

 private:
  static constexpr std::size_t kBlock = 64;

  struct Block {
    qv::vector<Range2d> leaves;
    Vector2 room;  // at least the width, and the height, of every leaf

    void add(const Range2d& leaf) {
      leaves.push_back(leaf);
      const Vector2 size = sizeOf(leaf);
      for (int k = 0; k < 2; ++k) room[k] = std::max(room[k], size[k]);
    }
  };

  // Cuts the size off a leaf, at its minimum corner, in two cuts at most.
  Range2d cut(std::size_t b, std::size_t i, const Vector2& size) {
    Range2d taken = blocks_[b].leaves[i];
    Range2d rest[2];
    int cuts = 0;
    for (int last = -1; cuts < 2; ++cuts) {
      const Vector2 free = sizeOf(taken) - size;
      if (length(free) <= kEps) break;
      const int k = free[0] > free[1] ? 0 : 1;
      // Along an axis that was cut nothing is left; the other one may lack as much as is tolerated.
      if (k == last) break;
      last = k;
      rest[cuts] = taken;
      rest[cuts].min[k] = taken.max[k] = taken.min[k] + size[k];
    }
    replace(b, i, rest, cuts);
    return taken;
  }

  // What was cut off last comes first.
  void replace(std::size_t b, std::size_t i, Range2d const* rest, int n) {
    Block whole;
    std::swap(whole, blocks_[b]);
    const qv::vector<Range2d>& old = whole.leaves;
    qv::vector<Block> parts(old.size() + 1 > kBlock ? 2 : 1);
    const std::size_t firstOfSecondPart = parts.size() == 2 ? old.size() / 2 : old.size();
    for (std::size_t j = 0; j < old.size(); ++j) {
      Block& part = parts[j < firstOfSecondPart ? 0 : 1];
      if (j != i) {
        part.add(old[j]);
        continue;
      }
      for (int k = n; k-- > 0;)
        if (fits(least_, sizeOf(rest[k]))) part.add(rest[k]);
    }
    blocks_[b] = std::move(parts[0]);
    if (parts.size() == 2) blocks_.insert(blocks_.begin() + static_cast<std::ptrdiff_t>(b) + 1, parts[1]);
  }

  qv::vector<Block> blocks_;
  Vector2 least_;
};

}  // namespace

bool pack(qv::vector<Range2d>& ranges) {
  if (ranges.empty()) return true;
  if (!(largerSide(ranges.back()) <= 1) || !std::all_of(ranges.begin(), ranges.end(), hasSize)) return false;
  SplitTree tree(ranges);
  return std::all_of(ranges.begin(), ranges.end(), [&](Range2d& range) { return tree.insert(range); });
}

namespace {

bool hasLargerSide(const Range2d& a, const Range2d& b) { return largerSide(a) > largerSide(b); }

qv::vector<int> orderBySize(const qv::vector<Range2d>& ranges) {
  qv::vector<int> order(ranges.size());
  std::iota(order.begin(), order.end(), 0);
  const qvUtil::Ordering::IndexedBinaryPredicate<Range2d, bool (*)(Range2d const&, Range2d const&)> larger{
      ranges.data(), hasLargerSide};
  smpSort(order.data(), static_cast<int>(order.size()), larger, qvUtil::ThreadPool::get());
  return order;
}

// Attempts until all are placed, each after the first with smaller sizes.
class ShrinkingAttempts {
 public:
  explicit ShrinkingAttempts(int steps)
      : factor_(std::min(static_cast<float>(std::pow(double{0.499f}, 1.0 / std::max(steps, 1))),
                         std::nextafter(1.0f, 0.0f))) {}

  void run(qv::vector<Range2d>& ranges) {
    while (!pack(ranges)) {
      ++iterations;
      scale *= factor_;
      for (Range2d& r : ranges) {
        const Vector2 size = sizeOf(r);
        r = Range2d({0, 0}, {size[0] * factor_, size[1] * factor_});
      }
    }
  }

  double scale = 1;
  int iterations = 1;

 private:
  float factor_;  // below 1, however many steps there are
};

void writeBack(const qv::vector<int>& order, const qv::vector<Range2d>& placed, qv::vector<Range2d>& ranges) {
  for (std::size_t i = 0; i < order.size(); ++i) {
    Range2d& range = ranges[order[i]];
    if (i < 6) {
      debugChannel().print("Packed (%.4f,%.4f)-(%.4f,%.4f) to", range.min[0], range.min[1], range.max[0],
                           range.max[1]);
      debugChannel().print(" (%.4f,%.4f)-(%.4f,%.4f)\n", placed[i].min[0], placed[i].min[1], placed[i].max[0],
                           placed[i].max[1]);
    }
    range = placed[i];
  }
}

void scaleUp(qv::vector<Range2d>& ranges) {
  Range2d bounds;
  for (const Range2d& r : ranges) bounds.unite(r);
  const double up = 1 / std::max(bounds.width(), bounds.height());
  if (!(up > 1.01) || !std::isfinite(up)) return;
  debugChannel().print("Scaling packing by %.2f\n", up);
  for (Range2d& r : ranges)
    for (int k = 0; k < 2; ++k) {
      r.min[k] *= up;
      r.max[k] *= up;
    }
}

}  // namespace

void pack(qv::vector<Range2d>& ranges, int steps) {
  if (!std::all_of(ranges.begin(), ranges.end(), hasSize)) return;
  qvOS::StopWatch watch;
  watch.start();
  const qv::vector<int> order = orderBySize(ranges);
  qv::vector<Range2d> placed;
  for (const int i : order) placed.push_back(ranges[i]);
  ShrinkingAttempts attempts(steps);
  attempts.run(placed);
  writeBack(order, placed, ranges);
  scaleUp(ranges);
  debugChannel().print("Packed %d items with %.2f coverage in %d iterations in %.2f seconds.\n",
                       static_cast<int>(ranges.size()), attempts.scale, attempts.iterations, watch.stop());
}

}  // namespace qvGeom
