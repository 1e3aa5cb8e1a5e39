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

// The side of a square with this many `pixels`, rounded down.
int32_t wholeSide(int32_t pixels);

// The patch matrix: channels * filterSize * filterSize rows, one column per window position.
Floats unfold(const Floats& image, int32_t channels, int32_t height, int32_t width,
              int32_t filterSize, int32_t padding, int32_t stride);

// samples x (filters * modulesX * modulesX). The products of an input are summed by fused steps
// from +0 in the order of the weights. The biases, one per filter, are added to the sum of the
// first input, and then the sums of the other inputs in turn. The bias of a single filter is added
// at its first position only.
Floats convolution(const std::vector<FilterInput>& inputs, int32_t samples, int32_t filters,
                   int32_t modulesX, const Floats& biases);

// As above, but each output position has weights of its own, all of them in the filter's row. One
// input; `biases` (one per output value, or none at all) are added if `first` is true.
Floats localUnshared(const FilterInput& input, int32_t samples, int32_t filters, int32_t modulesX,
                     const Floats& biases, bool first);

// samples x outputs, summed like a convolution: the bias row follows the first input.
Floats fullyConnected(const std::vector<FlatInput>& inputs, int32_t samples, int32_t outputs,
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

// Inputs of equal length, folded in order: the first one is scaled, the others are scaled and
// added.
Floats weightedSum(const std::vector<Floats>& inputs, const Floats& coefficients);
Floats elementwiseMaximum(const std::vector<Floats>& inputs);

}  // namespace reference

#endif
