#include "kernels/checked_geometry.h"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

#include "support/reference_layers.h"

namespace facefeature_test {
namespace {

using facefeature::divideGeometry;
using facefeature::multiplyGeometry;
using facefeature::truncatedSquareRoot;

TEST(DivideGeometry, Truncates) {
  EXPECT_EQ(3, divideGeometry(10, 3));
  EXPECT_EQ(0, divideGeometry(-1, 2));
  EXPECT_EQ(-2, divideGeometry(5, -2));
}

TEST(DivideGeometry, ZeroDivisorIsOutOfRange) {
  EXPECT_THROW(divideGeometry(10, 0), std::out_of_range);
  EXPECT_THROW(divideGeometry(std::numeric_limits<int32_t>::min(), -1), std::out_of_range);
}

TEST(TruncatedSquareRoot, IsTheLargestSideThatFits) {
  for (int32_t cells = 0; cells < 3000; ++cells) {
    ASSERT_EQ(reference::wholeSide(cells), truncatedSquareRoot(cells)) << cells;
  }
  EXPECT_EQ(46340, truncatedSquareRoot(std::numeric_limits<int32_t>::max()));
  EXPECT_EQ(46339, truncatedSquareRoot(46340 * 46340 - 1));
}

TEST(TruncatedSquareRoot, OfANegativeCountIsZero) {
  EXPECT_EQ(0, truncatedSquareRoot(-1));
  EXPECT_EQ(0, truncatedSquareRoot(std::numeric_limits<int32_t>::min()));
}

TEST(MultiplyGeometry, ProductsBeyond32BitsAreOutOfRange) {
  EXPECT_EQ(-12, multiplyGeometry(-3, 4));
  EXPECT_EQ(std::numeric_limits<int32_t>::min(), multiplyGeometry(-65536, 32768));
  EXPECT_THROW(multiplyGeometry(65536, 32768), std::out_of_range);
  EXPECT_THROW(multiplyGeometry(65536, 65536), std::out_of_range);
}

}  // namespace
}  // namespace facefeature_test
