#include "kernels/local.h"

#include <gtest/gtest.h>

#include <cmath>
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

using facefeature::localForward;
using reference::FilterInput;
using reference::Floats;

struct LocalBank {
  int32_t samples;
  int32_t filters;
  int32_t modulesX;
  FilterInput input;
  Floats biases;
};

LocalBank randomBank(Random& random) {
  LocalBank bank;
  bank.samples = random.integer(1, 3);
  bank.filters = random.integer(1, 6);
  bank.modulesX = random.integer(1, 5);
  FilterInput& input = bank.input;
  input.channels = random.integer(1, 3);
  input.stride = random.integer(1, 3);
  const int32_t filterSize = random.integer(1, 3);
  const int32_t covered =
      (bank.modulesX - 1) * input.stride + filterSize + random.integer(0, input.stride - 1);
  input.padding = random.integer(0, (covered - 1) / 2);
  input.imgSize = covered - 2 * input.padding;
  input.sampleLength = input.channels * input.imgSize * input.imgSize;
  const int32_t modules = bank.modulesX * bank.modulesX;
  input.weightLength = modules * input.channels * filterSize * filterSize;
  const int32_t trouble = random.chance(30) ? 3 : 0;
  input.samples = valuesWithSpecials(random, bank.samples * input.sampleLength, trouble);
  input.weights = valuesWithSpecials(random, bank.filters * input.weightLength, trouble);
  bank.biases = valuesWithSpecials(random, bank.filters * modules, trouble);
  return bank;
}

// `biases` keeps its shape until the kernel changes it.
void run(const LocalBank& bank, Matrix& biases, Matrix& output, float scale) {
  Matrix samples, weights;
  const FilterInput& input = bank.input;
  fillMatrix(samples, bank.samples, input.sampleLength, 111, input.samples);
  fillMatrix(weights, bank.filters, input.weightLength, 111, input.weights);
  localForward(samples, weights, biases, output, input.imgSize, bank.modulesX, bank.modulesX,
               input.padding, input.stride, input.channels, scale);
}

TEST(LocalForward, RandomBanksMatchBitForBit) {
  SeededRandom random;
  for (int round = 0; round < 200; ++round) {
    const LocalBank bank = randomBank(random);
    Matrix biases, output;
    fillMatrix(biases, 1, static_cast<int32_t>(bank.biases.size()), 111, bank.biases);
    run(bank, biases, output, 0.0f);
    const Floats wanted = reference::localUnshared(bank.input, bank.samples, bank.filters,
                                                   bank.modulesX, bank.biases, true);
    ASSERT_TRUE(hasShape(output, bank.samples, bank.filters * bank.modulesX * bank.modulesX, 111));
    ASSERT_TRUE(sameFloats(wanted.data(), output.buffer, wanted.size())) << round;
  }
}

TEST(LocalForward, IntoItsInputGivesTheSameBitsAsIntoAnotherMatrix) {
  SeededRandom random;
  for (int round = 0; round < 100; ++round) {
    LocalBank bank;
    FilterInput& input = bank.input;
    bank.samples = random.integer(1, 3);
    bank.filters = input.channels = random.integer(1, 3);
    bank.modulesX = input.imgSize = random.integer(1, 5);
    input.padding = random.integer(0, 1);
    const int32_t filterPixels = input.padding == 0 ? 1 : 9;
    const int32_t modules = bank.modulesX * bank.modulesX;
    input.sampleLength = input.channels * modules;
    input.weightLength = modules * input.channels * filterPixels;
    input.samples = valuesWithSpecials(random, bank.samples * input.sampleLength, 1);
    input.weights = valuesWithSpecials(random, bank.filters * input.weightLength, 1);
    bank.biases = random.normals(static_cast<size_t>(bank.filters * modules));
    for (const bool first : {true, false}) {
      Matrix weights, biases, matrix;
      fillMatrix(weights, bank.filters, input.weightLength, 111, input.weights);
      fillMatrix(biases, 1, bank.filters * modules, 111, bank.biases);
      fillMatrix(matrix, bank.samples, input.sampleLength, 111, input.samples);
      localForward(matrix, weights, biases, matrix, input.imgSize, bank.modulesX, bank.modulesX,
                   input.padding, 1, input.channels, first ? 0.0f : 1.0f);
      const Floats wanted = reference::localUnshared(input, bank.samples, bank.filters,
                                                     bank.modulesX, bank.biases, first);
      ASSERT_TRUE(sameFloats(wanted.data(), matrix.buffer, wanted.size())) << round;
    }
  }
}

TEST(LocalForward, ProductsAreRoundedBeforeTheyAreSummed) {
  const float a = 1.1f;
  ASSERT_NE(reference::fused(a, a, -1.0f), reference::sum(reference::product(a, a), -1.0f));
  Matrix input, weights, biases, output;
  fillMatrix(input, 1, 2, 111, {-1, a});
  fillMatrix(weights, 1, 2, 111, {1, a});
  fillMatrix(biases, 1, 1, 111, {0});
  localForward(input, weights, biases, output, 1, 1, 1, 0, 1, 2, 0.0f);
  EXPECT_SAME_FLOAT(reference::sum(reference::product(a, a), -1.0f), output.buffer[0]);
}

TEST(LocalForward, SumsRunStrictlyInTheOrderOfTheWeights) {
  Matrix input, weights, biases, output;
  fillMatrix(input, 1, 4, 111, {16777216.0f, 1, 1, 1});
  fillMatrix(weights, 1, 4, 111, {1, 1, 1, 1});
  fillMatrix(biases, 1, 1, 111, {0});
  localForward(input, weights, biases, output, 2, 1, 1, 0, 1, 1, 0.0f);
  EXPECT_SAME_FLOAT(16777216.0f, output.buffer[0]);
}

TEST(LocalForward, LaterInputOverwritesTheSumsAndTheBiases) {
  SeededRandom random;
  const LocalBank bank = randomBank(random);
  Matrix biases, output;
  fillMatrix(biases, 1, static_cast<int32_t>(bank.biases.size()), 111, bank.biases);
  run(bank, biases, output, 0.0f);
  const float* const buffer = output.buffer;
  LocalBank second = bank;
  second.input.samples = random.normals(bank.input.samples.size());
  run(second, biases, output, 1.0f);
  EXPECT_EQ(buffer, output.buffer);
  const Floats wanted = reference::localUnshared(second.input, bank.samples, bank.filters,
                                                 bank.modulesX, bank.biases, false);
  EXPECT_TRUE(sameFloats(wanted.data(), output.buffer, wanted.size()));
}

TEST(LocalForward, BiasesAreReshapedWhateverTheScaleAndKeepTheirSize) {
  for (const float scale : {0.0f, 1.0f}) {
    Matrix input, weights, biases, output;
    fillMatrix(input, 1, 4, 111, {1, 2, 3, 4});
    fillMatrix(weights, 3, 4, 111, Floats(12, 1.0f));
    fillMatrix(biases, 1, 14, 111, Floats(14, 1.0f));
    fillMatrix(output, 1, 12, 111, Floats(12, 0.0f));
    localForward(input, weights, biases, output, 2, 2, 2, 0, 1, 1, scale);
    EXPECT_EQ(3, biases.rows);
    EXPECT_EQ(4, biases.cols);
    EXPECT_EQ(14, biases.size);
    EXPECT_EQ(111, biases.order);
  }
}

TEST(LocalForward, BiasesByColumnsAreReadByTheirPlaceInTheirNewShape) {
  Matrix input, weights, biases, output;
  fillMatrix(input, 1, 4, 111, {0, 0, 0, 0});
  fillMatrix(weights, 2, 4, 111, Floats(8, 1.0f));
  fillMatrix(biases, 1, 8, 112, {1, 2, 3, 4, 5, 6, 7, 8});
  localForward(input, weights, biases, output, 2, 2, 2, 0, 1, 1, 0.0f);
  EXPECT_TRUE(holdsValues(output, {1, 3, 5, 7, 2, 4, 6, 8}));
}

TEST(LocalForward, WithoutABiasesFileNothingIsAdded) {
  Matrix input, weights, biases, output;
  fillMatrix(input, 1, 4, 111, {1, 2, 3, 4});
  fillMatrix(weights, 2, 4, 111, {1, 1, 1, 1, 2, 2, 2, 2});
  localForward(input, weights, biases, output, 2, 2, 2, 0, 1, 1, 0.0f);
  EXPECT_TRUE(holdsValues(output, {1, 2, 3, 4, 2, 4, 6, 8}));
  EXPECT_EQ(2, biases.rows);
  EXPECT_EQ(4, biases.cols);
  EXPECT_EQ(0, biases.size);
}

TEST(LocalForward, WeightsAreReadByRowsWithoutRegardToTheirFlag) {
  Matrix input, weights, biases, output;
  fillMatrix(input, 1, 4, 111, {1, 1, 1, 1});
  fillMatrix(weights, 2, 4, 112, {1, 2, 3, 4, 5, 6, 7, 8});
  fillMatrix(biases, 1, 8, 111, Floats(8, 0.0f));
  localForward(input, weights, biases, output, 2, 2, 2, 0, 1, 1, 0.0f);
  EXPECT_TRUE(holdsValues(output, {1, 2, 3, 4, 5, 6, 7, 8}));
}

TEST(LocalForward, EachPositionReadsItsOwnRunOfWeights) {
  // Two positions of two channels each. The weights of one position are adjacent.
  Matrix input, weights, biases, output;
  fillMatrix(input, 1, 8, 111, {1, 2, 3, 4, 10, 20, 30, 40});
  fillMatrix(weights, 1, 8, 111, {1, 0, 0, 1, 1, 1, 2, 0});
  fillMatrix(biases, 1, 4, 111, {0, 0, 0, 0});
  localForward(input, weights, biases, output, 2, 2, 2, 0, 1, 2, 0.0f);
  EXPECT_TRUE(holdsValues(output, {1, 20, 33, 8}));
}

TEST(LocalForward, InputWithoutSamplesGivesAnOutputWithoutRows) {
  Matrix input(0, 4), weights, biases, output;
  fillMatrix(weights, 2, 4, 111, Floats(8, 1.0f));
  localForward(input, weights, biases, output, 2, 2, 2, 0, 1, 1, 0.0f);
  EXPECT_TRUE(hasShape(output, 0, 8, 111));
}

TEST(LocalForward, ChannelsBelowOneAreOutOfRangeForAnyWeights) {
  Matrix input, weights, biases, output;
  const Matrix none(0, -5);
  fillMatrix(input, 1, 4, 111, {1, 2, 3, 4});
  fillMatrix(weights, 2, 4, 111, Floats(8, 1.0f));
  for (const Matrix* const some : {static_cast<const Matrix*>(&weights), &none}) {
    for (const int32_t modulesX : {1, 2}) {
      for (const int32_t channels : {0, -1, -5}) {
        EXPECT_THROW(
            localForward(input, *some, biases, output, 2, modulesX, modulesX, 4, 1, channels, 0.0f),
            std::out_of_range)
            << some->rows << " filters, " << channels << " channels";
      }
    }
  }
}

TEST(LocalForward, ZeroDivisorsAreOutOfRange) {
  Matrix input, weights, biases, output;
  fillMatrix(input, 1, 4, 111, {1, 2, 3, 4});
  fillMatrix(weights, 2, 4, 111, Floats(8, 1.0f));
  fillMatrix(biases, 1, 8, 111, Floats(8, 1.0f));
  const auto forward = [&](int32_t imgSize, int32_t stride, int32_t channels, int32_t modulesX) {
    localForward(input, weights, biases, output, imgSize, modulesX, modulesX, 0, stride, channels,
                 0.0f);
  };
  EXPECT_NO_THROW(forward(2, 1, 1, 2));
  EXPECT_THROW(forward(0, 1, 1, 2), std::out_of_range);
  EXPECT_THROW(forward(2, 0, 1, 2), std::out_of_range);
  EXPECT_THROW(forward(2, 1, 0, 2), std::out_of_range);
  EXPECT_THROW(forward(2, 1, 1, 0), std::out_of_range);
}

}  // namespace
}  // namespace facefeature_test
