#include "geometry/truncate.h"

#include <gtest/gtest.h>

#include <cfenv>
#include <cmath>
#include <limits>

#include "support/bits.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature::truncateToInt;

constexpr int32_t kNoInteger = std::numeric_limits<int32_t>::min();

TEST(TruncateToInt, GoesTowardZeroOnBothSides) {
  EXPECT_EQ(0, truncateToInt(0.99999994f));
  EXPECT_EQ(0, truncateToInt(-0.99999994f));
  EXPECT_EQ(0, truncateToInt(-0.0f));
  EXPECT_EQ(1, truncateToInt(1.9f));
  EXPECT_EQ(-1, truncateToInt(-1.9f));
  EXPECT_EQ(159, truncateToInt(159.99998f));
}

TEST(TruncateToInt, WhatIsNoNumberInRangeGivesTheLowestInteger) {
  const float infinity = std::numeric_limits<float>::infinity();
  EXPECT_EQ(kNoInteger, truncateToInt(std::numeric_limits<float>::quiet_NaN()));
  EXPECT_EQ(kNoInteger, truncateToInt(-std::numeric_limits<float>::quiet_NaN()));
  EXPECT_EQ(kNoInteger, truncateToInt(infinity));
  EXPECT_EQ(kNoInteger, truncateToInt(-infinity));
  EXPECT_EQ(kNoInteger, truncateToInt(2147483648.0f));
  EXPECT_EQ(kNoInteger, truncateToInt(-2147483904.0f));
  EXPECT_EQ(kNoInteger, truncateToInt(std::numeric_limits<float>::max()));
}

TEST(TruncateToInt, TheLastFloatsInRangeConvert) {
  EXPECT_EQ(2147483520, truncateToInt(2147483520.0f));
  EXPECT_EQ(-2147483520, truncateToInt(-2147483520.0f));
  EXPECT_EQ(kNoInteger, truncateToInt(-2147483648.0f));
}

TEST(TruncateToInt, TheRoundingModeIsIgnored) {
  const int before = std::fegetround();
  for (int mode : {FE_TONEAREST, FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
    ASSERT_EQ(0, std::fesetround(mode));
    volatile float above = 2.7f;
    volatile float below = -2.7f;
    const int32_t fromAbove = truncateToInt(above);
    const int32_t fromBelow = truncateToInt(below);
    std::fesetround(before);
    EXPECT_EQ(2, fromAbove) << "mode " << mode;
    EXPECT_EQ(-2, fromBelow) << "mode " << mode;
  }
}

TEST(TruncateToInt, AnyBitPatternGivesItsWholePartOrTheLowestInteger) {
  SeededRandom random;
  for (int i = 0; i < 200000; ++i) {
    const float value = floatOfBits(static_cast<uint32_t>(random.next()));
    const double whole = std::trunc(static_cast<double>(value));
    const bool fits = std::isfinite(value) && std::fabs(whole) < 2147483648.0;
    ASSERT_EQ(fits ? static_cast<int32_t>(whole) : kNoInteger, truncateToInt(value)) << value;
  }
}

}  // namespace
}  // namespace facefeature_test
