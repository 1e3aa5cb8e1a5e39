#include "kernels/convolve.h"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <vector>

#include "kernels/checked_matrix.h"
#include "support/bits.h"
#include "support/reference_layers.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature::convolveForward;
using reference::FilterInput;
using reference::Floats;

// A filter bank with one or two inputs of matching shape.
struct FilterBank {
  int32_t samples = 1;
  int32_t filters = 1;
  int32_t modulesX = 1;
  std::vector<FilterInput> inputs;
  Floats biases;
};

using Values = Floats (*)(Random& random, int32_t count);

Floats normalValues(Random& random, int32_t count) {
  return random.normals(static_cast<size_t>(count));
}

// Sums of products of these values are exact in any order, so a result has only one possible value.
Floats smallIntegers(Random& random, int32_t count) {
  Floats values(static_cast<size_t>(count));
  for (float& value : values) value = static_cast<float>(random.integer(-9, 9));
  return values;
}

FilterInput randomInput(Random& random, int32_t samples, int32_t filters, int32_t modulesX,
                        Values values) {
  FilterInput input;
  input.channels = random.integer(1, 4);
  input.stride = random.integer(1, 3);
  const int32_t filterSize = random.integer(1, 4);
  // A side that gives modulesX positions, possibly with a remainder that no window covers.
  const int32_t covered =
      (modulesX - 1) * input.stride + filterSize + random.integer(0, input.stride - 1);
  input.padding = random.integer(0, (covered - 1) / 2);
  input.imgSize = covered - 2 * input.padding;
  input.sampleLength = input.channels * input.imgSize * input.imgSize;
  input.samples = values(random, samples * input.sampleLength);
  input.weightLength = input.channels * filterSize * filterSize;
  input.weights = values(random, filters * input.weightLength);
  return input;
}

FilterBank randomBank(Random& random, int32_t inputCount, Values values) {
  FilterBank bank;
  bank.samples = random.integer(1, 3);
  bank.filters = random.integer(1, 20);
  bank.modulesX = random.integer(1, 9);
  for (int32_t i = 0; i < inputCount; ++i) {
    bank.inputs.push_back(randomInput(random, bank.samples, bank.filters, bank.modulesX, values));
  }
  bank.biases = values(random, bank.filters);
  return bank;
}

// Applies all inputs to one output that was filled with NaNs.
void run(const FilterBank& bank, Matrix& output) {
  Matrix biases;
  fillMatrix(biases, bank.filters, 1, 111, bank.biases);
  for (size_t i = 0; i < bank.inputs.size(); ++i) {
    const FilterInput& input = bank.inputs[i];
    Matrix samples, weights;
    fillMatrix(samples, bank.samples, input.sampleLength, 111, input.samples);
    fillMatrix(weights, bank.filters, input.weightLength, 111, input.weights);
    convolveForward(samples, weights, biases, output, input.imgSize, bank.modulesX, bank.modulesX,
                    input.padding, input.stride, input.channels, i == 0 ? 0.0f : 1.0f, 1.0f);
  }
}

TEST(ConvolveForward, RandomBanksGiveTheBitsOfTheDefinedOrderOfSums) {
  SeededRandom random;
  for (int round = 0; round < 60; ++round) {
    const FilterBank bank = randomBank(random, random.integer(1, 3), normalValues);
    Matrix output;
    run(bank, output);
    ASSERT_TRUE(hasShape(output, bank.samples, bank.filters * bank.modulesX * bank.modulesX, 111));
    const reference::Floats wanted =
        reference::convolution(bank.inputs, bank.samples, bank.filters, bank.modulesX, bank.biases);
    ASSERT_TRUE(hasBits(wanted, output.buffer, static_cast<size_t>(output.size))) << round;
  }
}

TEST(ConvolveForward, WholeNumbersAreExact) {
  SeededRandom random;
  for (int round = 0; round < 60; ++round) {
    const FilterBank bank = randomBank(random, random.integer(1, 3), smallIntegers);
    Matrix output;
    run(bank, output);
    const reference::Floats wanted =
        reference::convolution(bank.inputs, bank.samples, bank.filters, bank.modulesX, bank.biases);
    ASSERT_TRUE(hasBits(wanted, output.buffer, static_cast<size_t>(output.size))) << round;
  }
}

TEST(ConvolveForward, FirstLayerOfABuiltInNet) {
  SeededRandom random;
  FilterBank bank;
  bank.samples = 2;
  bank.filters = 16;
  bank.modulesX = 52;
  FilterInput input;
  input.channels = 3;
  input.imgSize = 55;
  input.sampleLength = 9075;
  input.samples = normalValues(random, 2 * 9075);
  input.weightLength = 48;
  input.weights = normalValues(random, 16 * 48);
  bank.inputs = {input};
  bank.biases = normalValues(random, 16);
  Matrix output;
  run(bank, output);
  ASSERT_TRUE(hasShape(output, 2, 43264, 111));
  EXPECT_TRUE(hasBits(reference::convolution(bank.inputs, 2, 16, 52, bank.biases), output.buffer,
                      2 * 43264));
}

// A bank whose output has the shape of its input: as many filters as channels, and as many
// positions as pixels.
FilterBank bankThatKeepsItsShape(Random& random) {
  FilterBank bank;
  FilterInput input;
  input.channels = random.integer(1, 4);
  input.padding = random.integer(0, 2);
  input.imgSize = random.integer(1, 7);
  input.sampleLength = input.channels * input.imgSize * input.imgSize;
  const int32_t filterSize = 2 * input.padding + 1;
  input.weightLength = input.channels * filterSize * filterSize;
  bank.samples = random.integer(1, 3);
  bank.filters = input.channels;
  bank.modulesX = input.imgSize;
  input.samples = smallIntegers(random, bank.samples * input.sampleLength);
  input.weights = smallIntegers(random, bank.filters * input.weightLength);
  bank.biases = smallIntegers(random, bank.filters);
  bank.inputs = {input};
  return bank;
}

void runInPlace(const FilterBank& bank, Matrix& matrix, float scale) {
  const FilterInput& input = bank.inputs[0];
  Matrix weights, biases;
  fillMatrix(matrix, bank.samples, input.sampleLength, 111, input.samples);
  fillMatrix(weights, bank.filters, input.weightLength, 111, input.weights);
  fillMatrix(biases, bank.filters, 1, 111, bank.biases);
  convolveForward(matrix, weights, biases, matrix, input.imgSize, bank.modulesX, bank.modulesX,
                  input.padding, input.stride, input.channels, scale, 1.0f);
}

TEST(ConvolveForward, IntoItsInputGivesTheSameBitsAsIntoAnotherMatrix) {
  SeededRandom random;
  for (int round = 0; round < 60; ++round) {
    const FilterBank bank = bankThatKeepsItsShape(random);
    Matrix output, matrix;
    run(bank, output);
    runInPlace(bank, matrix, 0.0f);
    ASSERT_TRUE(hasShape(matrix, output.rows, output.cols, 111));
    ASSERT_TRUE(sameFloats(output.buffer, matrix.buffer, static_cast<size_t>(output.size)));
    const reference::Floats wanted =
        reference::convolution(bank.inputs, bank.samples, bank.filters, bank.modulesX, bank.biases);
    ASSERT_TRUE(hasBits(wanted, matrix.buffer, static_cast<size_t>(matrix.size))) << round;
  }
}

TEST(ConvolveForward, IntoItsInputWithAnotherScaleAddsToTheInput) {
  SeededRandom random;
  for (int round = 0; round < 30; ++round) {
    const FilterBank bank = bankThatKeepsItsShape(random);
    Matrix matrix;
    runInPlace(bank, matrix, 1.0f);
    const reference::Floats products =
        reference::convolution(bank.inputs, bank.samples, bank.filters, bank.modulesX,
                               Floats(static_cast<size_t>(bank.filters), 0.0f));
    for (size_t i = 0; i < products.size(); ++i) {
      ASSERT_EQ(bank.inputs[0].samples[i] + products[i], matrix.buffer[i]) << i;
    }
  }
}

TEST(ConvolveForward, WhatTheOutputHeldBeforeIsNeverRead) {
  SeededRandom random;
  const FilterBank bank = randomBank(random, 1, normalValues);
  Matrix fresh, used;
  run(bank, fresh);
  fillMatrix(
      used, fresh.rows, fresh.cols, 111,
      std::vector<float>(static_cast<size_t>(fresh.size), std::numeric_limits<float>::quiet_NaN()));
  const float* const buffer = used.buffer;
  run(bank, used);
  EXPECT_EQ(buffer, used.buffer);
  EXPECT_TRUE(sameFloats(fresh.buffer, used.buffer, static_cast<size_t>(fresh.size)));
}

TEST(ConvolveForward, NegativeZeroIsTreatedAsZeroScale) {
  SeededRandom random;
  Matrix input, weights, biases, output;
  fillMatrix(input, 1, 4, 111, {1, 2, 3, 4});
  fillMatrix(weights, 1, 1, 111, {2});
  fillMatrix(biases, 1, 1, 111, {10});
  convolveForward(input, weights, biases, output, 2, 2, 2, 0, 1, 1, -0.0f, 1.0f);
  // One filter: its bias is a vector with one row and is added at the first position only.
  EXPECT_TRUE(holdsValues(output, {12, 4, 6, 8}));
}

TEST(ConvolveForward, OneFilterGetsItsBiasAtTheFirstPositionOnly) {
  Matrix input, weights, biases, output;
  fillMatrix(input, 2, 4, 111, {1, 2, 3, 4, 5, 6, 7, 8});
  fillMatrix(weights, 1, 1, 111, {1});
  fillMatrix(biases, 1, 1, 111, {100});
  convolveForward(input, weights, biases, output, 2, 2, 2, 0, 1, 1, 0.0f, 1.0f);
  EXPECT_TRUE(holdsValues(output, {101, 2, 3, 4, 105, 6, 7, 8}));
}

TEST(ConvolveForward, BiasesAreAddedBeforeTheSecondProduct) {
  // 2^24 + 1 rounds to 2^24, so the bias is lost. If it were added last, it would survive.
  Matrix first, second, weights, biases, output;
  fillMatrix(first, 1, 1, 111, {16777216.0f});
  fillMatrix(second, 1, 1, 111, {-16777216.0f});
  fillMatrix(weights, 2, 1, 111, {1, 1});
  fillMatrix(biases, 2, 1, 111, {1, 1});
  convolveForward(first, weights, biases, output, 1, 1, 1, 0, 1, 1, 0.0f, 1.0f);
  convolveForward(second, weights, biases, output, 1, 1, 1, 0, 1, 1, 1.0f, 1.0f);
  EXPECT_TRUE(holdsValues(output, {0, 0}));
}

TEST(ConvolveForward, FirstInputWithAnotherScaleNeitherResizesNorAddsBiases) {
  Matrix input, weights, biases, output;
  fillMatrix(input, 1, 4, 111, {1, 2, 3, 4});
  fillMatrix(weights, 2, 1, 111, {10, 20});
  fillMatrix(biases, 2, 1, 111, {1000, 1000});
  fillMatrix(output, 1, 8, 111, {1, 1, 1, 1, 2, 2, 2, 2});
  const float* const buffer = output.buffer;
  convolveForward(input, weights, biases, output, 2, 2, 2, 0, 1, 1, 0.5f, 1.0f);
  EXPECT_EQ(buffer, output.buffer);
  EXPECT_TRUE(holdsValues(output, {10.5f, 20.5f, 30.5f, 40.5f, 21, 41, 61, 81}));
}

TEST(ConvolveForward, InputWithoutSamplesGivesAnOutputWithoutRows) {
  Matrix input(0, 4), weights, biases, output;
  fillMatrix(weights, 2, 1, 111, {1, 1});
  fillMatrix(biases, 2, 1, 111, {1, 1});
  convolveForward(input, weights, biases, output, 2, 2, 2, 0, 1, 1, 0.0f, 1.0f);
  EXPECT_TRUE(hasShape(output, 0, 8, 111));
}

TEST(ConvolveForward, ImageOfTwentyFourValuesAndHeightFourIsSixWide) {
  Floats pixels(24);
  for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<float>(i);
  Matrix input, weights, biases, output;
  fillMatrix(input, 1, 24, 111, pixels);
  fillMatrix(weights, 2, 16, 111, Floats(32, 1.0f));
  fillMatrix(biases, 2, 1, 111, {0, 0});
  // A window of 4 x 4 with a stride of 3: one position in height, one in width.
  convolveForward(input, weights, biases, output, 4, 1, 1, 0, 3, 1, 0.0f, 1.0f);
  float sumOfWindow = 0.0f;
  for (int y = 0; y < 4; ++y) {
    for (int x = 0; x < 4; ++x) sumOfWindow += pixels[static_cast<size_t>(y * 6 + x)];
  }
  EXPECT_TRUE(holdsValues(output, {sumOfWindow, sumOfWindow}));
}

TEST(ConvolveForward, WeightsByColumnsArePassedAsTransposed) {
  Matrix input, weights, biases, output;
  fillMatrix(input, 1, 2, 111, {3, 5});
  // Two channels of one pixel; filter 0 is (1, 2), filter 1 is (10, 20).
  fillMatrix(weights, 2, 2, 112, {1, 10, 2, 20});
  fillMatrix(biases, 2, 1, 111, {0, 0});
  convolveForward(input, weights, biases, output, 1, 1, 1, 0, 1, 2, 0.0f, 1.0f);
  EXPECT_TRUE(holdsValues(output, {13, 130}));
}

TEST(ConvolveForward, AlphaScalesTheProductOnly) {
  Matrix input, weights, biases, output;
  fillMatrix(input, 1, 1, 111, {3});
  fillMatrix(weights, 2, 1, 111, {1, 2});
  fillMatrix(biases, 2, 1, 111, {100, 200});
  convolveForward(input, weights, biases, output, 1, 1, 1, 0, 1, 1, 0.0f, 0.5f);
  EXPECT_TRUE(holdsValues(output, {101.5f, 203}));
}

TEST(ConvolveForward, BiasesWithoutElementsAddNothing) {
  Matrix input, weights, output;
  const Matrix biases;
  fillMatrix(input, 1, 1, 111, {3});
  fillMatrix(weights, 2, 1, 111, {1, 2});
  convolveForward(input, weights, biases, output, 1, 1, 1, 0, 1, 1, 0.0f, 1.0f);
  EXPECT_TRUE(holdsValues(output, {3, 6}));
}

TEST(ConvolveForward, ZeroDivisorsAreOutOfRange) {
  Matrix input, weights, biases, output;
  fillMatrix(input, 1, 4, 111, {1, 2, 3, 4});
  fillMatrix(weights, 2, 1, 111, {1, 1});
  fillMatrix(biases, 2, 1, 111, {1, 1});
  const auto convolve = [&](int32_t imgSize, int32_t stride, int32_t channels) {
    convolveForward(input, weights, biases, output, imgSize, 2, 2, 0, stride, channels, 0.0f, 1.0f);
  };
  EXPECT_NO_THROW(convolve(2, 1, 1));
  EXPECT_THROW(convolve(0, 1, 1), std::out_of_range);
  EXPECT_THROW(convolve(2, 0, 1), std::out_of_range);
  EXPECT_THROW(convolve(2, 1, 0), std::out_of_range);
}

TEST(ConvolveForward, ChannelsBelowOneAreOutOfRangeForAnyWeights) {
  Matrix input, weights, biases, output;
  const Matrix none(0, -5);
  fillMatrix(input, 1, 4, 111, {1, 2, 3, 4});
  fillMatrix(weights, 2, 1, 111, {1, 1});
  for (const Matrix* const some : {static_cast<const Matrix*>(&weights), &none}) {
    for (const int32_t channels : {0, -1, -5}) {
      EXPECT_THROW(convolveForward(input, *some, biases, output, 2, 2, 2, 4, 1, channels, 0, 1),
                   std::out_of_range)
          << some->rows << " filters, " << channels << " channels";
    }
  }
}

TEST(ConvolveForward, FilterSizeOfZeroIsOutOfRange) {
  Matrix input, biases, output;
  const Matrix weights(2, 0);
  fillMatrix(input, 1, 4, 111, {1, 2, 3, 4});
  fillMatrix(biases, 2, 1, 111, {1, 1});
  EXPECT_THROW(convolveForward(input, weights, biases, output, 2, 2, 2, 0, 1, 1, 0.0f, 1.0f),
               std::out_of_range);
}

// The patch matrix has a row for each weight of whole pixels. Surplus weights have no row.
TEST(ConvolveForward, WeightsThatAreNotAMultipleOfTheChannelsAreOutOfRange) {
  Matrix input, weights, biases, output;
  fillMatrix(input, 1, 12, 111, Floats(12, 1.0f));
  fillMatrix(biases, 2, 1, 111, {0, 0});
  for (const int32_t cols : {3, 4, 5}) {
    fillMatrix(weights, 2, cols, 111, Floats(static_cast<size_t>(2 * cols), 1.0f));
    const auto convolve = [&] {
      convolveForward(input, weights, biases, output, 2, 2, 2, 0, 1, 3, 0.0f, 1.0f);
    };
    if (cols == 3) {
      EXPECT_NO_THROW(convolve());
    } else {
      EXPECT_THROW(convolve(), std::out_of_range) << cols;
    }
  }
}

TEST(ConvolveForward, TenWeightsOnOneChannelMakeAFilterOfThreeAndOneWithoutAPixel) {
  Matrix input, weights, biases, output;
  fillMatrix(input, 1, 16, 111, Floats(16, 1.0f));
  fillMatrix(weights, 2, 10, 111, Floats(20, 1.0f));
  fillMatrix(biases, 2, 1, 111, {0, 100});
  convolveForward(input, weights, biases, output, 4, 2, 2, 0, 1, 1, 0.0f, 1.0f);
  // Uninitialized heap memory in the tenth row of the patch matrix would show here.
  EXPECT_TRUE(holdsValues(output, {9, 9, 9, 9, 109, 109, 109, 109}));
}

}  // namespace
}  // namespace facefeature_test
