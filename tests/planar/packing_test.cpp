#include "geom/planar/packing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <random>

#include "geom/model/keel/tolerances.h"

#include "tests/support/mesh_checks.h"

namespace qvGeom {
namespace {

using qvLinear::Range2d;
using qvLinear::Vector2;
using Ranges = qv::vector<Range2d>;

Range2d sized(double w, double h) { return Range2d({5, -3}, {5 + w, -3 + h}); }

// The tree as it is defined, walked by recursion.
struct Node {
  Range2d rect = Range2d::unitSquare;
  std::unique_ptr<Node> child[2];
  bool used = false;

  Node* insert(const Vector2& size) {
    if (child[0]) {
      Node* found = child[0]->insert(size);
      return found ? found : child[1]->insert(size);
    }
    const Vector2 free = (rect.max - rect.min) - size;
    if (used || free[0] < -qvLinear::epsilonTol || free[1] < -qvLinear::epsilonTol) return nullptr;
    if (equivalent(free, Vector2(), qvLinear::epsilonTol)) {
      used = true;
      return this;
    }
    const int k = free[0] > free[1] ? 0 : 1;
    for (auto& c : child) {
      c = std::make_unique<Node>();
      c->rect = rect;
    }
    child[0]->rect.max[k] = child[1]->rect.min[k] = rect.min[k] + size[k];
    return child[0]->insert(size);
  }
};
bool packByRecursion(Ranges& ranges) {
  Node root;
  for (Range2d& r : ranges) {
    const Node* found = root.insert(r.max - r.min);
    if (!found) return false;
    r = found->rect;
  }
  return true;
}

bool areEqual(const Ranges& a, const Ranges& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](const Range2d& x, const Range2d& y) { return x.min == y.min && x.max == y.max; });
}

TEST(Packing, PlacesAsTheTreeDoes) {
  int packed = 0;
  for (unsigned seed = 0; seed < 200; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    Ranges ranges(1 + random() % 300);
    std::uniform_real_distribution<double> side(0, 0.1 + 1.6 / std::sqrt(static_cast<double>(ranges.size())));
    // Half of them in sixteenths, so that many fit exactly, and some of no size.
    const auto next = [&] { return seed % 2 ? static_cast<double>(random() % 5) / 16 : side(random); };
    for (Range2d& r : ranges) r = sized(next(), next());
    Ranges expected = ranges;
    const bool fits = packByRecursion(expected);
    EXPECT_EQ(pack(ranges), fits);
    EXPECT_TRUE(areEqual(ranges, expected)) << "also where not all fit";
    packed += fits;
  }
  EXPECT_TRUE(packed > 20 && packed < 180) << packed;
}

TEST(Packing, RefusesWhatHasNoPlace) {
  for (const Range2d& bad : {sized(1.5, 0.1), sized(0.1, kInf), sized(kNan, 0.1), sized(-0.1, 0.1)}) {
    const Ranges ranges{sized(0.5, 0.5), bad};
    Ranges result = ranges;
    EXPECT_FALSE(pack(result));
    EXPECT_EQ(result[0].min, ranges[0].min) << "nothing is placed";
    if (bad.width() == 1.5) continue;
    DebugLog log;
    pack(result, 3);
    EXPECT_TRUE(result[0].min == ranges[0].min && log.messages.empty());
  }
  Ranges none;
  EXPECT_TRUE(pack(none));
  pack(none, 0);
  Ranges tiles(4, sized(0.5, 0.5));
  EXPECT_TRUE(pack(tiles));
  Ranges slack{sized(1 + 1e-11, 1)};  // beyond the square by less than the tolerance
  EXPECT_FALSE(pack(slack));
  pack(slack, 1 << 30);
  EXPECT_LE(slack[0].max[0], 1);
}

TEST(Packing, ShrinksUntilAllFitAndKeepsTheOrder) {
  std::mt19937 random(5);
  std::uniform_real_distribution<double> side(0.01, 3);
  for (const std::size_t n : {1, 2, 7, 200}) {
    Ranges ranges(n);
    for (Range2d& r : ranges) r = sized(side(random), side(random));
    Ranges placed = ranges;
    pack(placed, 20);
    const double scale = placed[0].width() / ranges[0].width();
    double reach = 0;
    for (std::size_t i = 0; i < n; ++i) {
      const Range2d& r = placed[i];
      EXPECT_NEAR(r.width(), scale * ranges[i].width(), 1e-9);
      EXPECT_NEAR(r.height(), scale * ranges[i].height(), 1e-9);
      EXPECT_TRUE(r.min[0] >= 0 && r.min[1] >= 0 && r.max[0] < 1 + 1e-9 && r.max[1] < 1 + 1e-9);
      reach = std::max({reach, r.max[0], r.max[1]});
      for (std::size_t j = 0; j < i; ++j) {
        const auto overlap = [&](int k) { return intersect(r.axis(k), placed[j].axis(k), 0).size(); };
        EXPECT_LT(std::min(overlap(0), overlap(1)), 1e-9) << i << ' ' << j;
      }
    }
    EXPECT_GT(reach, 1 / 1.0101);
  }
}

TEST(Packing, TellsWhatItDid) {
  const auto logOf = [](Ranges ranges) {
    DebugLog log;
    pack(ranges, 1);
    std::string all;
    for (const std::string& m : log.messages) all += m + "|";
    return all;
  };
  EXPECT_THAT(
      logOf({Range2d({0, 0}, {2, 1})}),
      testing::StartsWith("Packed (0.0000,0.0000)-(2.0000,1.0000) to| (0.0000,0.0000)-(0.9980,0.4990)\n|"
                          "Packed 1 items with 0.50 coverage in 2 iterations in "));
  const std::string many = logOf(Ranges(9, sized(0.1, 0.3)));
  EXPECT_EQ(std::count(many.begin(), many.end(), '('), 24) << "the first six";
  EXPECT_THAT(many,
              testing::HasSubstr("Scaling packing by 1.11\n|Packed 9 items with 1.00 coverage in 1 it"));
}

}  // namespace
}  // namespace qvGeom
