#include "kernels/cross_map_norm.h"

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>
#include <vector>

#include "kernels/checked_matrix.h"
#include "support/bits.h"
#include "support/reference_arithmetic.h"
#include "support/reference_layers.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature::crossMapNormForward;
using reference::Floats;

TEST(CrossMapNormForward, RandomShapesMatchBitForBit) {
  SeededRandom random;
  for (int round = 0; round < 300; ++round) {
    const int32_t rows = random.integer(0, 3), channels = random.integer(1, 12);
    const int32_t pixels = random.integer(1, 12), sizeX = random.integer(1, 14);
    const float scale = random.chance(20) ? -random.unit() : random.unit() * 3.0f;
    const float power = random.chance(20) ? random.special() : random.normal();
    const Floats samples =
        valuesWithSpecials(random, rows * channels * pixels, random.chance(30) ? 5 : 0);
    Matrix input, target;
    fillMatrix(input, rows, channels * pixels, 111, samples);
    crossMapNormForward(input, target, channels, sizeX, scale, power);
    ASSERT_TRUE(hasShape(target, rows, channels * pixels, 111));
    const Floats wanted = reference::crossMapNorm(samples, rows, channels, sizeX, scale, power);
    ASSERT_TRUE(sameFloats(wanted.data(), target.buffer, wanted.size()))
        << "round " << round << ": " << channels << " channels, sizeX " << sizeX << ", scale "
        << scale << ", pow " << power;
  }
}

TEST(CrossMapNormForward, OneChannelAndSizeOneIsThePlainFormula) {
  Matrix input, target;
  fillMatrix(input, 1, 2, 111, {3.0f, -0.5f});
  crossMapNormForward(input, target, 1, 1, 0.25f, 0.75f);
  for (int i = 0; i < 2; ++i) {
    const float x = input.buffer[i];
    const float base = 0.25f * (x * x) + 1.0f;
    const float factor = static_cast<float>(std::pow(static_cast<double>(base), -0.75));
    EXPECT_SAME_FLOAT(factor * x, target.buffer[i]);
  }
}

// The result for channel c of ten channels. Every channel holds a different power of two, so the
// sum of squares identifies the channels that contributed.
float normalisedChannel(int32_t sizeX, int32_t c, float& base) {
  Floats values(10);
  for (int32_t i = 0; i < 10; ++i) values[static_cast<size_t>(i)] = std::ldexp(1.0f, i - 5);
  Matrix input, target;
  fillMatrix(input, 1, 10, 111, values);
  crossMapNormForward(input, target, 10, sizeX, 1.0f, 1.0f);
  base = values[static_cast<size_t>(c)] / target.buffer[c];
  return target.buffer[c];
}

TEST(CrossMapNormForward, EvenSizeAtTheFirstChannelCoversTwoOfFour) {
  float base;
  normalisedChannel(4, 0, base);
  // The divisor remains 4, although only two channels are left.
  EXPECT_NEAR(1.0 + (std::ldexp(1.0, -10) + std::ldexp(1.0, -8)) / 4, base, 1e-6);
}

TEST(CrossMapNormForward, EvenSizeTakesOneChannelMoreBelow) {
  float base;
  normalisedChannel(4, 5, base);
  // Channels 3 to 6.
  EXPECT_NEAR(1.0 + (0.0625 + 0.25 + 1.0 + 4.0) / 4, base, 1e-5);
}

TEST(CrossMapNormForward, OddSizeAtTheLastChannelCoversThreeOfFive) {
  float base;
  normalisedChannel(5, 9, base);
  EXPECT_NEAR(1.0 + (16.0 + 64.0 + 256.0) / 5, base, 1e-4);
}

TEST(CrossMapNormForward, PowerOfZeroLeavesTheInput) {
  SeededRandom random;
  const Floats samples = random.normals(24);
  Matrix input, target;
  fillMatrix(input, 2, 12, 111, samples);
  crossMapNormForward(input, target, 4, 3, 0.7f, 0.0f);
  EXPECT_TRUE(holdsValues(target, samples));
}

TEST(CrossMapNormForward, RowOfZerosStaysZero) {
  Matrix input, target;
  fillMatrix(input, 1, 6, 111, Floats(6, 0.0f));
  crossMapNormForward(input, target, 3, 3, 0.7f, 0.75f);
  EXPECT_TRUE(holdsValues(target, Floats(6, 0.0f)));
}

TEST(CrossMapNormForward, SumsSquaresInSinglePrecisionInAscendingOrderOfChannel) {
  // 1 is lost against 2^24 only if it is added later.
  Matrix input, target;
  fillMatrix(input, 1, 3, 111, {4096.0f, 1.0f, 1.0f});
  crossMapNormForward(input, target, 3, 7, 1.0f, 1.0f);
  const float base =
      reference::sum(reference::product(reference::quotient(1.0f, 7.0f), 16777216.0f), 1.0f);
  const float factor = static_cast<float>(std::pow(static_cast<double>(base), -1.0));
  EXPECT_TRUE(holdsValues(target, {reference::product(factor, 4096.0f), factor, factor}));
}

// The two passes over one matrix that is both input and target, element by element.
void normaliseInPlace(Floats& values, int32_t rows, int32_t channels, int32_t sizeX, float scale,
                      float power) {
  const int32_t cols = rows == 0 ? 0 : static_cast<int32_t>(values.size()) / rows;
  const int32_t pixels = cols / channels;
  const auto at = [&](int32_t r, int32_t k) -> float& {
    return values[static_cast<size_t>(r * cols + k)];
  };
  for (int32_t r = 0; r < rows; ++r) {
    for (int32_t k = 0; k < cols; ++k) {
      at(r, k) = 0.0f;
      for (int32_t j = 0; j < channels; ++j) {
        const int32_t above = j - (k / pixels - sizeX / 2);
        if (above < 0 || above >= sizeX) continue;
        const float v = at(r, j * pixels + k % pixels);
        at(r, k) = reference::sum(reference::product(v, v), at(r, k));
      }
    }
  }
  const float alpha = reference::quotient(scale, static_cast<float>(sizeX));
  for (float& value : values) {
    const float base = reference::sum(reference::product(alpha, value), 1.0f);
    const double raised = std::pow(static_cast<double>(base), -static_cast<double>(power));
    value = reference::product(reference::rounded(raised), value);
  }
}

TEST(CrossMapNormForward, InPlaceAnElementHasLostItsValueBeforeItIsRead) {
  SeededRandom random;
  for (int round = 0; round < 300; ++round) {
    const int32_t rows = random.integer(0, 3), channels = random.integer(1, 6);
    const int32_t pixels = random.integer(1, 8), sizeX = random.integer(1, 8);
    const int32_t cols = channels * pixels + random.integer(0, channels - 1);
    const float scale = random.unit() * 3.0f, power = random.normal();
    Floats wanted = valuesWithSpecials(random, rows * cols, random.chance(30) ? 5 : 0);
    for (float& value : wanted) value *= 0.25f;
    Matrix matrix;
    fillMatrix(matrix, rows, cols, 111, wanted);
    const float* const buffer = matrix.buffer;
    crossMapNormForward(matrix, matrix, channels, sizeX, scale, power);
    EXPECT_EQ(buffer, matrix.buffer);
    normaliseInPlace(wanted, rows, channels, sizeX, scale, power);
    ASSERT_TRUE(sameFloats(wanted.data(), matrix.buffer, wanted.size()))
        << "round " << round << ": " << channels << " channels, " << cols << " columns, sizeX "
        << sizeX << ", scale " << scale << ", pow " << power;
  }
}

TEST(CrossMapNormForward, InPlaceASingleChannelBecomesZero) {
  Matrix matrix;
  fillMatrix(matrix, 1, 3, 111, {1, -2, 3});
  crossMapNormForward(matrix, matrix, 1, 1, 0.5f, 0.75f);
  for (int i = 0; i < 3; ++i) EXPECT_BITS(0u, matrix.buffer[i]);
}

TEST(CrossMapNormForward, ChannelsOrPixelsOfZeroAreOutOfRange) {
  Matrix input, target;
  fillMatrix(input, 1, 4, 111, {1, 2, 3, 4});
  EXPECT_THROW(crossMapNormForward(input, target, 0, 3, 1.0f, 1.0f), std::out_of_range);
  EXPECT_THROW(crossMapNormForward(input, target, 5, 3, 1.0f, 1.0f), std::out_of_range);
}

}  // namespace
}  // namespace facefeature_test
