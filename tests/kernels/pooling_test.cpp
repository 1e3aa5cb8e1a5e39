#include "kernels/pooling.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <vector>

#include "kernels/checked_matrix.h"
#include "support/bits.h"
#include "support/reference_arithmetic.h"
#include "support/reference_layers.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature::avgPoolForward;
using facefeature::maxPoolForward;
using reference::Floats;
using reference::PoolGeometry;

using PoolForward = void (*)(const Matrix&, Matrix&, int32_t, int32_t, int32_t, int32_t, int32_t);
using PoolReference = Floats (*)(const Floats&, int32_t, const PoolGeometry&);

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr uint32_t kFillBits = 0xFF167699u;

void pool(PoolForward forward, const Matrix& input, Matrix& target, const PoolGeometry& geometry) {
  forward(input, target, geometry.channels, geometry.sizeX, geometry.start, geometry.stride,
          geometry.outputsX);
}

// Windows that overlap, leave gaps, start before the image or extend beyond it, up to windows
// entirely outside. The planes are often not square and sometimes have no pixels.
void expectAgreementOnRandomGeometries(PoolForward forward, PoolReference wantedPool) {
  SeededRandom random;
  for (int round = 0; round < 500; ++round) {
    PoolGeometry geometry;
    geometry.channels = random.integer(1, 4);
    geometry.sizeX = random.integer(1, 5);
    geometry.start = random.integer(-6, 4);
    geometry.stride = random.integer(0, 4);
    geometry.outputsX = random.integer(1, 6);
    const int32_t side = random.integer(0, 11);
    const int32_t imgPixels = side * side + (random.chance(30) ? random.integer(0, 2 * side) : 0);
    const int32_t surplus = random.chance(20) ? random.integer(0, geometry.channels - 1) : 0;
    const int32_t rows = random.integer(0, 3), cols = imgPixels * geometry.channels + surplus;
    const Floats samples =
        valuesWithSpecials(random, rows * cols, random.chance(50) ? 0 : random.integer(1, 60));
    Matrix input, target;
    fillMatrix(input, rows, cols, 111, samples);
    pool(forward, input, target, geometry);
    const int32_t outputs = geometry.outputsX * geometry.outputsX * geometry.channels;
    ASSERT_TRUE(hasShape(target, rows, outputs, 111));
    const Floats wanted = wantedPool(samples, rows, geometry);
    ASSERT_EQ(static_cast<size_t>(target.size), wanted.size());
    ASSERT_TRUE(sameFloats(wanted.data(), target.buffer, wanted.size()))
        << "round " << round << ": " << cols << " columns, " << geometry.channels
        << " channels, sizeX " << geometry.sizeX << ", start " << geometry.start << ", stride "
        << geometry.stride << ", outputsX " << geometry.outputsX;
  }
}

TEST(AvgPoolForward, RandomGeometriesMatchBitForBit) {
  expectAgreementOnRandomGeometries(avgPoolForward, reference::averagePool);
}

TEST(MaxPoolForward, RandomGeometriesMatchBitForBit) {
  expectAgreementOnRandomGeometries(maxPoolForward, reference::maximumPool);
}

// The window of all built-in nets: 2 x 2 with a stride of 2, for even and odd sides and for lengths
// around those of wide registers.
TEST(MaxPoolForward, WindowsOfTheBuiltInNetsMatchBitForBit) {
  SeededRandom random;
  for (int32_t side = 1; side <= 52; ++side) {
    PoolGeometry geometry;
    geometry.channels = random.integer(1, 3);
    geometry.sizeX = 2;
    geometry.stride = 2;
    geometry.outputsX = (side + 1) / 2;
    const int32_t cols = geometry.channels * side * side;
    const Floats samples = valuesWithSpecials(random, 2 * cols, side % 3 == 0 ? 20 : 0);
    Matrix input, target;
    fillMatrix(input, 2, cols, 111, samples);
    pool(maxPoolForward, input, target, geometry);
    const Floats wanted = reference::maximumPool(samples, 2, geometry);
    ASSERT_EQ(static_cast<size_t>(target.size), wanted.size());
    ASSERT_TRUE(sameFloats(wanted.data(), target.buffer, wanted.size())) << "side " << side;
  }
}

TEST(MaxPoolForward, TwoByTwoWindowsOnFourByFourEachHaveFourCells) {
  Matrix input, target;
  fillMatrix(input, 1, 16, 111, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16});
  maxPoolForward(input, target, 1, 2, 0, 2, 2);
  EXPECT_TRUE(holdsValues(target, {6, 8, 14, 16}));
  avgPoolForward(input, target, 1, 2, 0, 2, 2);
  EXPECT_TRUE(holdsValues(target, {3.5f, 5.5f, 11.5f, 13.5f}));
}

TEST(AvgPoolForward, ClippedWindowIsDividedByItsOwnCells) {
  Matrix input, target;
  fillMatrix(input, 1, 16, 111, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16});
  avgPoolForward(input, target, 1, 3, -1, 2, 2);
  EXPECT_SAME_FLOAT((1.0f + 2 + 5 + 6) / 4, target.buffer[0]);
  Floats pixels(25);
  for (size_t i = 0; i < 25; ++i) pixels[i] = static_cast<float>(i);
  Matrix square;
  fillMatrix(square, 1, 25, 111, pixels);
  avgPoolForward(square, target, 1, 3, 0, 3, 2);
  EXPECT_SAME_FLOAT((18.0f + 19 + 23 + 24) / 4, target.buffer[3]);
}

TEST(AvgPoolForward, SumsInRasterOrder) {
  Matrix input, target;
  fillMatrix(input, 1, 4, 111, {16777216.0f, 1, 1, 1});
  avgPoolForward(input, target, 1, 2, 0, 2, 1);
  EXPECT_SAME_FLOAT(4194304.0f, target.buffer[0]);
}

TEST(MaxPoolForward, PlaneBelowTheFillValuePoolsToTheFillValue) {
  Matrix input, target;
  fillMatrix(input, 1, 16, 111, Floats(16, -3e38f));
  maxPoolForward(input, target, 1, 2, 0, 2, 2);
  for (int i = 0; i < 4; ++i) EXPECT_BITS(kFillBits, target.buffer[i]);
  EXPECT_BITS(kFillBits, facefeature::kMaxPoolFill);
}

TEST(MaxPoolForward, NaNsAreSkipped) {
  Matrix input, target;
  fillMatrix(input, 1, 8, 111, {kNaN, 1, kNaN, kNaN, kNaN, kNaN, kNaN, kNaN});
  maxPoolForward(input, target, 2, 2, 0, 2, 1);
  EXPECT_SAME_FLOAT(1.0f, target.buffer[0]);
  EXPECT_BITS(kFillBits, target.buffer[1]);
}

TEST(MaxPoolForward, FirstOfTwoZerosStays) {
  Matrix input, target;
  fillMatrix(input, 1, 8, 111, {-0.0f, 0.0f, 0.0f, 0.0f, 0.0f, -0.0f, -0.0f, -0.0f});
  maxPoolForward(input, target, 2, 2, 0, 2, 1);
  EXPECT_BITS(0x80000000u, target.buffer[0]);
  EXPECT_BITS(0x00000000u, target.buffer[1]);
}

TEST(MaxPoolForward, WindowOutsideTheImageGivesTheFillValue) {
  Matrix input, target;
  fillMatrix(input, 1, 4, 111, {1, 2, 3, 4});
  maxPoolForward(input, target, 1, 2, 2, 2, 1);
  EXPECT_BITS(kFillBits, target.buffer[0]);
}

TEST(AvgPoolForward, WindowWithASpanOfZeroGivesNaN) {
  Matrix input, target;
  fillMatrix(input, 1, 4, 111, {1, 2, 3, 4});
  avgPoolForward(input, target, 1, 2, 2, 2, 1);
  EXPECT_SAME_FLOAT(kNaN, target.buffer[0]);
}

TEST(AvgPoolForward, WindowWithTwoNegativeSpansGivesZero) {
  Matrix input, target;
  fillMatrix(input, 1, 4, 111, {1, 2, 3, 4});
  avgPoolForward(input, target, 1, 2, 5, 2, 1);
  EXPECT_BITS(0x00000000u, target.buffer[0]);
}

TEST(AvgPoolForward, WindowWithOneNegativeSpanGivesNegativeZero) {
  Matrix input, target;
  fillMatrix(input, 1, 4, 111, {1, 2, 3, 4});
  // Outputs (0, 1) and (1, 0) overlap the image along one axis and miss it along the other.
  avgPoolForward(input, target, 1, 2, 0, 5, 2);
  EXPECT_SAME_FLOAT(2.5f, target.buffer[0]);
  EXPECT_BITS(0x80000000u, target.buffer[1]);
  EXPECT_BITS(0x80000000u, target.buffer[2]);
  EXPECT_BITS(0x00000000u, target.buffer[3]);
}

TEST(AvgPoolForward, CountOfAWindowFarOutsideWrapsAt32Bits) {
  Matrix input, target;
  fillMatrix(input, 1, 4, 111, {1, 2, 3, 4});
  avgPoolForward(input, target, 1, 2, 0, std::numeric_limits<int32_t>::max(), 3);
  // Spans of 2, of 3 - 2^31 and of 4 - 2^32. In 32 bits, all their products but the first are small
  // and positive, so no quotient of 0 is negative. In 64 bits, the quotients of a single such span
  // would be.
  EXPECT_SAME_FLOAT(2.5f, target.buffer[0]);
  for (int i = 1; i < 9; ++i) EXPECT_BITS(0x00000000u, target.buffer[i]);
}

TEST(MaxPoolForward, PlanesOfTenPixelsAreThreeWideAndTenApart) {
  Floats pixels(20);
  for (size_t i = 0; i < 20; ++i) pixels[i] = static_cast<float>(i);
  Matrix input, target;
  fillMatrix(input, 1, 20, 111, pixels);
  maxPoolForward(input, target, 2, 2, 0, 1, 2);
  EXPECT_TRUE(holdsValues(target, {4, 5, 7, 8, 14, 15, 17, 18}));
}

TEST(MaxPoolForward, TargetOfTheShapeKeepsItsStorage) {
  Matrix input, target;
  fillMatrix(input, 1, 4, 111, {1, 2, 3, 4});
  fillMatrix(target, 1, 1, 111, {kNaN});
  const float* const buffer = target.buffer;
  maxPoolForward(input, target, 1, 2, 0, 2, 1);
  EXPECT_EQ(buffer, target.buffer);
  EXPECT_TRUE(holdsValues(target, {4}));
}

// Pooling of a matrix into itself, step by step. Every output is set to the fill value before the
// first window is read, and a window reads the values at that moment.
void poolInPlace(Floats& values, int32_t rows, const PoolGeometry& geometry, bool average) {
  const int32_t side = geometry.outputsX, plane = side * side;
  std::fill(values.begin(), values.end(), average ? 0.0f : facefeature::kMaxPoolFill);
  for (int32_t k = 0; k < rows * geometry.channels * plane; ++k) {
    float& target = values[static_cast<size_t>(k)];
    const int32_t y0 = k % plane / side * geometry.stride + geometry.start;
    const int32_t x0 = k % side * geometry.stride + geometry.start;
    for (int32_t y = std::max(y0, 0); y < std::min(y0 + geometry.sizeX, side); ++y) {
      for (int32_t x = std::max(x0, 0); x < std::min(x0 + geometry.sizeX, side); ++x) {
        const float value = values[static_cast<size_t>(k / plane * plane + y * side + x)];
        target = average ? reference::sum(target, value) : reference::greater(value, target);
      }
    }
    const int32_t height = std::min(y0 + geometry.sizeX, side) - std::max(y0, 0);
    const int32_t width = std::min(x0 + geometry.sizeX, side) - std::max(x0, 0);
    if (average) target = reference::quotient(target, static_cast<float>(height * width));
  }
}

TEST(PoolForward, IntoItsInputLeavesTheFillValueEverywhere) {
  for (const bool average : {true, false}) {
    for (const int32_t stride : {1, 2}) {
      // All windows contain pixels.
      const PoolGeometry geometry = {2, 6, stride == 1 ? 0 : -3, stride, 4};
      Matrix matrix;
      fillMatrix(matrix, 3, 32, 111, Floats(96, 5.0f));
      const float* const buffer = matrix.buffer;
      pool(average ? avgPoolForward : maxPoolForward, matrix, matrix, geometry);
      ASSERT_TRUE(hasShape(matrix, 3, 32, 111));
      EXPECT_EQ(buffer, matrix.buffer);
      for (int i = 0; i < 96; ++i) EXPECT_BITS(average ? 0u : kFillBits, matrix.buffer[i]);
    }
  }
}

TEST(PoolForward, IntoItsInputReadsWhatItHasWritten) {
  SeededRandom random;
  for (int round = 0; round < 300; ++round) {
    const bool average = random.chance(50);
    const PoolGeometry geometry = {random.integer(1, 3), random.integer(1, 4),
                                   random.integer(-5, 3), random.integer(0, 3),
                                   random.integer(1, 5)};
    const int32_t rows = random.integer(0, 3);
    const int32_t cols = geometry.channels * geometry.outputsX * geometry.outputsX;
    Floats wanted = valuesWithSpecials(random, rows * cols, 10);
    Matrix matrix;
    fillMatrix(matrix, rows, cols, 111, wanted);
    pool(average ? avgPoolForward : maxPoolForward, matrix, matrix, geometry);
    poolInPlace(wanted, rows, geometry, average);
    ASSERT_TRUE(sameFloats(wanted.data(), matrix.buffer, wanted.size()))
        << "round " << round << (average ? ": average, " : ": maximum, ") << geometry.channels
        << " channels, sizeX " << geometry.sizeX << ", start " << geometry.start << ", stride "
        << geometry.stride << ", outputsX " << geometry.outputsX;
  }
}

TEST(PoolForward, IntoItsInputIsOutOfRangeIfTheShapeWouldChange) {
  for (const PoolForward forward : {avgPoolForward, maxPoolForward}) {
    for (const int32_t outputsX : {1, 3, 5}) {
      Matrix matrix;
      fillMatrix(matrix, 1, 16, 111, Floats(16, 5.0f));
      const float* const buffer = matrix.buffer;
      EXPECT_THROW(forward(matrix, matrix, 1, 2, 0, 1, outputsX), std::out_of_range);
      EXPECT_EQ(buffer, matrix.buffer);
      EXPECT_TRUE(holdsValues(matrix, Floats(16, 5.0f)));
    }
  }
}

TEST(PoolForward, ZeroDivisorsAreOutOfRange) {
  for (const PoolForward forward : {avgPoolForward, maxPoolForward}) {
    Matrix input, target;
    fillMatrix(input, 1, 4, 111, {1, 2, 3, 4});
    EXPECT_THROW(forward(input, target, 0, 2, 0, 2, 1), std::out_of_range);
    EXPECT_THROW(forward(input, target, 1, 2, 0, 2, 0), std::out_of_range);
  }
}

}  // namespace
}  // namespace facefeature_test
