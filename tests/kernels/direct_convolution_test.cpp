// Compares the direct convolutions of every kernel set with the separate operations of the oracle,
// and transposing with its definition, bit by bit.
#include "kernels/direct_convolution.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "support/bits.h"
#include "support/placed_floats.h"
#include "support/reference_layers.h"
#include "support/scoped_kernels.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature::DirectConvolution;
using facefeature::DirectShape;
using facefeature::FloatRange;
using facefeature::KernelSet;
using facefeature::ReadAhead;
using reference::Floats;

// The operands in the oracle's order: planes, and weights filter by filter.
struct Bank {
  DirectShape shape;
  int32_t samples, channels;
  Floats images, weights, biases;

  int32_t pixels() const { return shape.side * shape.side; }
  int32_t terms() const { return channels * shape.filterSize * shape.filterSize; }
  int32_t outSide() const { return facefeature::directOutputSide(shape); }
};

Floats exchanged(const Floats& values, int32_t rows, int32_t columns) {
  Floats result(values.size());
  for (int32_t r = 0; r < rows; ++r) {
    for (int32_t c = 0; c < columns; ++c) {
      result[static_cast<size_t>(c * rows + r)] = values[static_cast<size_t>(r * columns + c)];
    }
  }
  return result;
}

// Transposes each sample of values, a matrix of rows x columns floats.
Floats exchangedSamples(const Floats& values, int32_t rows, int32_t columns) {
  Floats result;
  const auto length = static_cast<ptrdiff_t>(rows) * columns;
  for (auto at = values.begin(); at != values.end(); at += length) {
    const Floats sample = exchanged(Floats(at, at + length), rows, columns);
    result.insert(result.end(), sample.begin(), sample.end());
  }
  return result;
}

// Convolution, relu and pooling one after the other.
Floats wantedOf(const Bank& bank) {
  reference::FilterInput input;
  input.samples = bank.images;
  input.sampleLength = bank.channels * bank.pixels();
  input.weights = bank.weights;
  input.weightLength = bank.terms();
  input.channels = bank.channels;
  input.imgSize = bank.shape.side;
  const int32_t positions = bank.shape.side - bank.shape.filterSize + 1;
  Floats planes =
      reference::convolution({input}, bank.samples, bank.shape.filters, positions, bank.biases);
  for (float& value : planes) value = value > 0.0f ? value : 0.0f;
  if (bank.shape.pools) {
    reference::PoolGeometry windows;
    windows.channels = bank.shape.filters;
    windows.sizeX = windows.stride = 2;
    windows.outputsX = positions / 2;
    planes = reference::maximumPool(planes, bank.samples, windows);
  }
  return exchangedSamples(planes, bank.shape.filters, bank.outSide() * bank.outSide());
}

void expectBits(const KernelSet& set, Random& random, int32_t shape, const Bank& bank) {
  const Floats images = bank.shape.channels == 0
                            ? bank.images
                            : exchangedSamples(bank.images, bank.channels, bank.pixels());
  const Floats weights = exchanged(bank.weights, bank.shape.filters, bank.terms());
  const Floats wanted = wantedOf(bank);
  PlacedFloats placedImages(images, randomPlacement(random)),
      placedWeights(weights, randomPlacement(random)),
      placedBiases(bank.biases, randomPlacement(random)),
      out(Floats(wanted.size(), -3.0f), randomPlacement(random));
  // Kernels may prefetch this range or ignore it.
  const FloatRange range = {weights.data(), weights.data() + weights.size()};
  ReadAhead ahead = {nullptr, nullptr, &range, 1};
  set.convolveDirect(shape, {bank.samples, bank.channels, placedImages.data(), placedWeights.data(),
                             placedBiases.data(), out.data(), &ahead});
  ASSERT_TRUE(identicalFloats(wanted.data(), out.data(), wanted.size()))
      << "shape " << shape << ", " << bank.samples << " samples, " << bank.channels << " channels";
  ASSERT_TRUE(out.isUntouchedAround());
}

Bank randomBank(Random& random, int32_t shape, int32_t samples, bool isHostile) {
  Bank bank;
  bank.shape = facefeature::kDirectShapes[shape];
  bank.samples = samples;
  bank.channels = bank.shape.channels == 0 ? random.integer(1, 4) : bank.shape.channels;
  bank.images = random.normals(static_cast<size_t>(samples * bank.channels * bank.pixels()));
  bank.weights = random.normals(static_cast<size_t>(bank.shape.filters * bank.terms()));
  bank.biases = random.normals(static_cast<size_t>(bank.shape.filters));
  if (!isHostile) return bank;
  for (Floats* values : {&bank.images, &bank.weights, &bank.biases}) {
    for (float& value : *values) {
      const int32_t kind = random.integer(0, 399);
      if (kind == 0) value = random.special();
      if (kind > 380) value = std::ldexp(value, random.integer(-140, -60));
    }
  }
  return bank;
}

class DirectConvolutionOfSet : public ::testing::TestWithParam<const KernelSet*> {
 protected:
  SeededRandom random;
};

TEST_P(DirectConvolutionOfSet, HasTheBitsOfTheSeparateOperations) {
  for (int32_t shape = 0; shape < facefeature::kDirectShapeCount; ++shape) {
    for (const int32_t samples : {1, 2, 3}) {
      expectBits(*GetParam(), random, shape, randomBank(random, shape, samples, false));
      if (HasFatalFailure()) return;
    }
  }
}

TEST_P(DirectConvolutionOfSet, SpecialValues) {
  for (int32_t shape = 0; shape < facefeature::kDirectShapeCount; ++shape) {
    for (int round = 0; round < 3; ++round) {
      expectBits(*GetParam(), random, shape, randomBank(random, shape, 2, true));
      if (HasFatalFailure()) return;
    }
  }
}

// Few bits in operands of different exponents: many exact sums are halfway between two floats.
TEST_P(DirectConvolutionOfSet, SumsBetweenTwoFloats) {
  for (int32_t shape = 0; shape < facefeature::kDirectShapeCount; ++shape) {
    Bank bank = randomBank(random, shape, 1, false);
    for (Floats* values : {&bank.images, &bank.weights, &bank.biases}) {
      for (float& value : *values) {
        value = std::ldexp(float(random.integer(-2047, 2047)), random.integer(-18, -11));
      }
    }
    expectBits(*GetParam(), random, shape, bank);
    if (HasFatalFailure()) return;
  }
}

// All products near the smallest normal float, near the smallest subnormal one, or near the largest
// float.
TEST_P(DirectConvolutionOfSet, SumsAtTheEndsOfTheRange) {
  for (int32_t shape = 0; shape < facefeature::kDirectShapeCount; ++shape) {
    for (const int32_t exponent : {-154, -146, -138, -130, -122, -104, 100, 112, 118, 124}) {
      Bank bank = randomBank(random, shape, 1, false);
      const int32_t ofImages = exponent / 2 + random.integer(-5, 5);
      for (float& value : bank.images) value = std::ldexp(value, ofImages);
      for (float& value : bank.weights) value = std::ldexp(value, exponent - ofImages);
      for (float& value : bank.biases) value = std::ldexp(value, exponent);
      expectBits(*GetParam(), random, shape, bank);
      if (HasFatalFailure()) return;
    }
  }
}

TEST_P(DirectConvolutionOfSet, TransposesEveryShape) {
  for (int round = 0; round < 300; ++round) {
    const int32_t rows = random.integer(1, 70), columns = random.integer(1, 70);
    const Floats values = floatsOfRandomKind(random, static_cast<size_t>(rows * columns));
    const Floats wanted = exchanged(values, rows, columns);
    PlacedFloats in(values, randomPlacement(random)), out(values, randomPlacement(random));
    GetParam()->transpose(in.data(), rows, columns, out.data());
    ASSERT_TRUE(identicalFloats(wanted.data(), out.data(), wanted.size()))
        << rows << " x " << columns;
    ASSERT_TRUE(out.isUntouchedAround());
  }
}

TEST_P(DirectConvolutionOfSet, ProjectsManyVectorsLikeOne) {
  for (int round = 0; round < 100; ++round) {
    const int32_t rows = random.integer(1, 70), columns = random.integer(1, 400);
    const int32_t count = random.integer(1, 40);
    const Floats matrix = random.normals(static_cast<size_t>(rows * columns));
    std::vector<Floats> x(static_cast<size_t>(count)), got(x.size(), Floats(size_t(rows), -1.0f));
    std::vector<const float*> inputs;
    std::vector<float*> outputs;
    for (size_t i = 0; i < x.size(); ++i) {
      x[i] = random.normals(static_cast<size_t>(columns));
      inputs.push_back(x[i].data());
      outputs.push_back(got[i].data());
    }
    GetParam()->projectMany(matrix.data(), rows, columns, inputs.data(), count, outputs.data());
    for (size_t i = 0; i < x.size(); ++i) {
      Floats wanted(static_cast<size_t>(rows));
      facefeature::plainKernels().projectRows(matrix.data(), rows, columns, x[i].data(),
                                              wanted.data());
      ASSERT_TRUE(identicalFloats(wanted.data(), got[i].data(), wanted.size()))
          << rows << " x " << columns << ", vector " << i << " of " << count;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Sets, DirectConvolutionOfSet, ::testing::ValuesIn(runnableKernelSets()),
                         kernelSetName<::testing::TestParamInfo<const KernelSet*>>);

}  // namespace
}  // namespace facefeature_test
