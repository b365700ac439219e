#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <random>
#include <vector>

#include "geom/model/trellis/array_of_sets.h"
#include "geom/model/trellis/bit_vector.h"
#include "geom/model/trellis/bounding_box.h"

namespace qvGeom {
namespace {

std::vector<int> setOf(const ArrayOfSets& sets, int i) {
  return {sets.getSet(i), sets.getSet(i) + sets.getSetSize(i)};
}

// Random edits against a list of flags.
TEST(BitVector, CountsOnlyBitsThatChange) {
  std::mt19937 random(5);
  BitVector bits(70), other(40);
  std::vector<bool> set(70), otherSet(40);
  for (int step = 0; step < 20000; ++step) {
    const int i = static_cast<int>(random() % 100) - 10, op = static_cast<int>(random() % 50);
    const int repeated[] = {i, i, -1};
    if (op == 0) bits.resize(i), set.assign(std::max(i, 0), false);  // starts a new selection
    if (op == 1) bits.setAllBits(), set.assign(set.size(), true);
    if (op == 2) bits.swap(other), set.swap(otherSet);
    if (op == 3) bits |= other;
    for (std::size_t k = 0; op == 3 && k < std::min(set.size(), otherSet.size()); ++k)
      set[k] = set[k] || otherSet[k];
    if (op > 3 && op < 20) bits.clearBit(i);
    if (op >= 20) bits.setBits(3, repeated);
    if (op > 3 && i >= 0 && i < std::ssize(set)) set[i] = op >= 20;
    ASSERT_EQ(bits.numSetBits, std::count(set.begin(), set.end(), true)) << "step " << step;
    for (int k = -1; k < 99; ++k) ASSERT_EQ(bits.test(k), k >= 0 && k < std::ssize(set) && set[k]) << step;
  }
}

TEST(ArrayOfSets, PairsKeepTheirOrderAndInvertAscending) {
  ArrayOfSets sets, inverse;
  const int pairs[] = {1, 7, 0, 3, 1, 5, 3, 1};
  ASSERT_TRUE(sets.assignFromPairs(3, 3, pairs));
  const std::vector<std::vector<int>> expected{{3}, {7, 5}, {}};  // the last set may be empty
  for (int i = 0; i < 3; ++i) EXPECT_EQ(setOf(sets, i), expected[i]);
  ASSERT_TRUE(inverse.assignInverse(8, sets));
  for (int i = 0; i < 8; ++i)
    EXPECT_EQ(setOf(inverse, i), i == 3             ? std::vector{0}
                                 : i == 5 || i == 7 ? std::vector{1}
                                                    : std::vector<int>())
        << i;
  EXPECT_FALSE(sets.assignInverse(7, sets) || sets.assignFromPairs(3, 4, pairs)) << "7 and 3 are outside";
  EXPECT_EQ(setOf(sets, 1), (std::vector<int>{7, 5})) << "a refusal changes nothing";
}

TEST(BoundingBox, EmptyStaysEmptyUntilThePointsCome) {
  const BoundingBox empty;
  BoundingBox box;
  box.extend(5.0f);
  box.extend(empty);
  box.transform(qvLinear::AffineMatrixFlt::scale(2, 2, 2));
  box.extendToCube();
  const float nan[] = {NAN, NAN, NAN}, p[] = {1, 2, 3};
  box.extend(nan);
  EXPECT_TRUE(!box.isValid() && equivalent(box, empty, 0));
  box.extend(p);
  EXPECT_TRUE(box.isValid() && box.contains(box));
  EXPECT_FALSE(box.contains(empty) || box.intersects(empty) || empty.intersects(empty));
  EXPECT_GT(empty.distance(qvLinear::PointFlt(3e38f, -3e38f, 0)), 1e300);
}

TEST(BoundingBox, IsClosedAndTransformsAllCorners) {
  const float origin[] = {0, 0, 0}, shifted[] = {2, 2, 2}, apart[] = {2, 2, std::nextafter(2.0f, 3.0f)};
  const BoundingBox a(origin, 1), touching(shifted, 1), beyond(apart, 1);
  EXPECT_TRUE(a.intersects(touching) && touching.intersects(a) && a.intersects2D(beyond));
  EXPECT_FALSE(a.intersects(beyond) || beyond.intersects(a));
  EXPECT_EQ(a.distance(qvLinear::PointFlt(1, 1, 1)), 0);
  EXPECT_DOUBLE_EQ(a.distance(qvLinear::PointFlt(2, 0, 3)), std::sqrt(5.0));

  const double sides[] = {0, 0, 0, 1, 2, 3}, expected[] = {8, 0, 0, 10, 1, 3};
  BoundingBox turned(sides), cube(sides);
  qvLinear::AffineMatrix turn = qvLinear::AffineMatrix::rotate(qvLinear::Vector::x, qvLinear::Vector::y);
  turn[3][0] = 10;
  turned.transform(turn);
  EXPECT_TRUE(equivalent(turned, BoundingBox(expected), 1e-6f));
  cube.extendToCube();
  EXPECT_TRUE(cube.contains(BoundingBox(sides)));
  for (int i = 0; i < 3; ++i) EXPECT_FLOAT_EQ(cube.max[i] - cube.min[i], 3);
}

}  // namespace
}  // namespace qvGeom
