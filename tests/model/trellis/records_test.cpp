#include <gtest/gtest.h>
#include <vector>

#include "geom/model/trellis/array_of_sets.h"
#include "geom/model/trellis/bit_vector.h"
#include "geom/model/trellis/bounding_box.h"

namespace qvGeom {
namespace {

std::vector<int> setOf(const ArrayOfSets& sets, int i) {
  return {sets.getSet(i), sets.getSet(i) + sets.getSetSize(i)};
}

TEST(BitVector, CountsOnlyBitsThatChange) {
  BitVector bits(70);
  bits.setBit(33);
  bits.setBit(33);
  bits.setBit(70);
  bits.setBit(-1);
  const int repeated[] = {33, 33, 33, 99, -5};
  bits.setBits(5, repeated);
  EXPECT_EQ(bits.numSetBits, 1);
  EXPECT_EQ(bits.words()[1], 2u);

  bits.setAllBits();
  EXPECT_EQ(bits.numSetBits, 70);
  EXPECT_EQ(bits.words()[2], 0x3fu) << "bits past the end stay 0";

  BitVector shorter(40);
  shorter.setAllBits();
  bits |= shorter;
  EXPECT_EQ(bits.numSetBits, 70);
  shorter.resize(35);
  shorter |= bits;
  EXPECT_EQ(shorter.numSetBits, 35) << "a longer operand adds nothing past the end";
  EXPECT_EQ(shorter.words()[1], 7u);

  bits.clearBit(69);
  bits.clearBit(69);
  EXPECT_EQ(bits.numSetBits, 69);
  EXPECT_FALSE(bits.test(69));
  EXPECT_FALSE(bits.test(1000));
  bits.resize(80);
  EXPECT_EQ(bits.numSetBits, 0) << "resizing starts a new selection";
  EXPECT_FALSE(bits.test(0));
}

TEST(ArrayOfSets, PairsKeepTheirOrderAndInvertAscending) {
  ArrayOfSets sets;
  const int pairs[] = {1, 7, 0, 3, 1, 5};
  ASSERT_TRUE(sets.assignFromPairs(3, 3, pairs));
  EXPECT_EQ(std::vector<int>(sets.setStarts.begin(), sets.setStarts.end()), (std::vector<int>{0, 1, 3}));
  EXPECT_EQ(std::vector<int>(sets.members.begin(), sets.members.end()), (std::vector<int>{3, 7, 5}));
  EXPECT_EQ(sets.getSetSize(2), 0) << "the last set may be empty";

  ArrayOfSets inverse;
  ASSERT_TRUE(inverse.assignInverse(8, sets));
  EXPECT_EQ(setOf(inverse, 3), std::vector<int>{0});
  EXPECT_EQ(setOf(inverse, 5), std::vector<int>{1});
  EXPECT_EQ(setOf(inverse, 7), std::vector<int>{1});
  EXPECT_EQ(inverse.members.size(), 3);

  EXPECT_FALSE(sets.assignInverse(7, sets)) << "member 7 is outside";
  const int outside[] = {0, 1, 3, 1};
  EXPECT_FALSE(sets.assignFromPairs(3, 2, outside));
  EXPECT_EQ(setOf(sets, 1), (std::vector<int>{7, 5})) << "a refusal changes nothing";
}

TEST(BoundingBox, EmptyStaysEmptyUntilThePointsCome) {
  BoundingBox empty;
  EXPECT_EQ(empty.min[0], 3.4028235e38f);
  EXPECT_EQ(empty.max[2], -3.4028235e38f);
  BoundingBox box = empty;
  box.extend(5.0f);
  box.extend(empty);
  box.transform(qvLinear::AffineMatrixFlt::scale(2, 2, 2));
  const float nan[] = {NAN, NAN, NAN};
  box.extend(nan);
  EXPECT_FALSE(box.isValid());
  EXPECT_EQ(box.min[1], empty.min[1]);

  const float p[] = {1, 2, 3};
  box.extend(p);
  EXPECT_TRUE(box.isValid());
  EXPECT_FALSE(box.contains(empty));
  EXPECT_FALSE(box.intersects(empty));
  EXPECT_FALSE(empty.intersects(empty));
  EXPECT_TRUE(box.contains(box));
  EXPECT_GT(empty.distance(qvLinear::PointFlt(3e38f, -3e38f, 0)), 1e300);
}

TEST(BoundingBox, IsClosed) {
  const float origin[] = {0, 0, 0};
  const float shifted[] = {2, 2, 2};
  const BoundingBox a(origin, 1), touching(shifted, 1);
  EXPECT_TRUE(a.intersects(touching));
  EXPECT_TRUE(touching.intersects(a));
  const float apart[] = {2, 2, std::nextafter(2.0f, 3.0f)};
  EXPECT_FALSE(a.intersects(BoundingBox(apart, 1)));
  EXPECT_TRUE(a.intersects2D(BoundingBox(apart, 1)));
  EXPECT_EQ(a.distance(qvLinear::PointFlt(1, 1, 1)), 0);
  EXPECT_DOUBLE_EQ(a.distance(qvLinear::PointFlt(2, 0, 3)), std::sqrt(5.0));
}

TEST(BoundingBox, TransformBoundsAllCornersAndCubesKeepTheirContents) {
  BoundingBox box;
  box.extend(qvLinear::PointFlt(0, 0, 0));
  box.extend(qvLinear::PointFlt(1, 2, 3));
  qvLinear::AffineMatrix turn = qvLinear::AffineMatrix::rotate(qvLinear::Vector::x, qvLinear::Vector::y);
  turn[3][0] = 10;
  BoundingBox turned = box;
  turned.transform(turn);
  const double expected[] = {8, 0, 0, 10, 1, 3};
  EXPECT_TRUE(equivalent(turned, BoundingBox(expected), 1e-6f));

  BoundingBox cube = box;
  cube.extendToCube();
  EXPECT_TRUE(cube.contains(box));
  for (int i = 0; i < 3; ++i) EXPECT_FLOAT_EQ(cube.max[i] - cube.min[i], 3);
  float corner[3];
  box.getPoint(5, corner);
  EXPECT_EQ(std::vector<float>(corner, corner + 3), (std::vector<float>{1, 0, 3}));
}

}  // namespace
}  // namespace qvGeom
