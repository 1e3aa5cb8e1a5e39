// Oracle of the compute layers, value by value.
//
// Activations are plain arrays here: one row per sample, one plane per channel, each plane by rows.
#ifndef FACEFEATURE_TESTS_SUPPORT_REFERENCE_LAYERS_H
#define FACEFEATURE_TESTS_SUPPORT_REFERENCE_LAYERS_H

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace reference {

using Floats = std::vector<float>;

// One input of a filter bank: its samples, its weights (one row per filter) and the window
// geometry.
struct FilterInput {
  Floats samples;
  int32_t sampleLength = 0;
  Floats weights;
  int32_t weightLength = 0;  // of one filter's row
  int32_t channels = 1;
  int32_t imgSize = 0;  // the height; the width follows from the length of a sample
  int32_t padding = 0;
  int32_t stride = 1;
};

// One input of a fully connected layer: samples x length, and length x outputs weights.
struct FlatInput {
  Floats samples;
  int32_t length = 0;
  Floats weights;
};

// Sums whose order of additions is not known, each with the exact value (up to the rounding of
// double) and the largest error that a computation in float can have.
struct BoundedSums {
  std::vector<double> values;
  std::vector<double> bounds;

  // Checks floats of the same count and reports which one is outside its bound.
  ::testing::AssertionResult allow(const float* got, size_t count) const;
};

// The side of a square with this many `pixels`, rounded down.
int32_t wholeSide(int32_t pixels);

// The patch matrix: channels * filterSize * filterSize rows, one column per window position.
Floats unfold(const Floats& image, int32_t channels, int32_t height, int32_t width,
              int32_t filterSize, int32_t padding, int32_t stride);

// samples x (filters * modulesX * modulesX): the sum over all inputs, plus the biases once, one
// bias per filter. The bias of a single filter is added at its first position only.
BoundedSums convolution(const std::vector<FilterInput>& inputs, int32_t samples, int32_t filters,
                        int32_t modulesX, const Floats& biases);

// As above, but each output position has weights of its own, all of them in the filter's row. One
// input; `biases` (one per output value, or none at all) are added if `first` is true.
Floats localUnshared(const FilterInput& input, int32_t samples, int32_t filters, int32_t modulesX,
                     const Floats& biases, bool first);

// samples x outputs: the sum over all inputs, plus the bias row once.
BoundedSums fullyConnected(const std::vector<FlatInput>& inputs, int32_t samples, int32_t outputs,
                           const Floats& biases);

struct PoolGeometry {
  int32_t channels = 1;
  int32_t sizeX = 1;
  int32_t start = 0;
  int32_t stride = 1;
  int32_t outputsX = 1;
};

Floats averagePool(const Floats& samples, int32_t sampleCount, const PoolGeometry& geometry);
Floats maximumPool(const Floats& samples, int32_t sampleCount, const PoolGeometry& geometry);

Floats crossMapNorm(const Floats& samples, int32_t sampleCount, int32_t channels, int32_t sizeX,
                    float scale, float power);

Floats softmax(const Floats& values, int32_t rows, int32_t cols);

// Inputs of equal length, folded in order. Each result is one of the two that a fused or an unfused
// addition gives at each input after the first; `allowed` holds one set per value.
std::vector<Floats> weightedSum(const std::vector<Floats>& inputs, const Floats& coefficients);
Floats elementwiseMaximum(const std::vector<Floats>& inputs);

}  // namespace reference

#endif
