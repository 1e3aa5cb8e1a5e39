// Convolution, bias, relu and pooling in one pass, for the filter banks of the built-in nets.
//
// An unfolded image repeats every pixel for each filter position that covers it. A direct
// convolution reads the image in place. The bias, the relu and the maximum of 2 x 2 positions are
// computed before a sum leaves its register, in the order and with the rounding of the separate
// operations (kernels/convolve.h, kernels/pooling.h).
#ifndef FACEFEATURE_KERNELS_DIRECT_CONVOLUTION_H
#define FACEFEATURE_KERNELS_DIRECT_CONVOLUTION_H

#include <cstdint>

namespace facefeature {

// One filter bank of the built-in nets, except for its number of channels if that varies.
struct DirectShape {
  int32_t side;      // of the square image
  int32_t channels;  // 0: any number, planes of side * side floats. Otherwise the floats of a pixel
  int32_t filterSize;  // side of a filter; padding is 0 and the stride 1
  int32_t filters;
  bool pools;  // whether the outputs are the maxima of 2 x 2 windows instead of all positions
};

constexpr int32_t kDirectShapeCount = 8;

// The shapes in the order of the nets' stages. Tasks name a shape by its index.
constexpr DirectShape kDirectShapes[kDirectShapeCount] = {
    {55, 0, 4, 16, true},  {47, 0, 4, 16, true},  {26, 16, 3, 32, true}, {22, 16, 3, 32, true},
    {12, 32, 3, 48, true}, {10, 32, 3, 48, true}, {5, 48, 2, 64, false}, {4, 48, 2, 64, false}};

constexpr int32_t kMostDirectFilters = 64;

// Side of a shape's output.
constexpr int32_t directOutputSide(const DirectShape& shape) {
  const int32_t positions = shape.side - shape.filterSize + 1;
  return shape.pools ? positions / 2 : positions;
}

struct FloatRange {
  const float* begin;
  const float* end;
};

// Memory that will be read soon. A variant may prefetch the next lines while it computes, and then
// advances next. The result does not depend on it.
struct ReadAhead {
  const char* next;
  const char* end;           // of the range that next is in
  const FloatRange* ranges;  // the ranges after it, in the order of their use
  int32_t rangeCount;
};

struct DirectConvolution {
  int32_t samples;
  int32_t channels;     // of the images
  const float* images;  // one after the other, side * side * channels floats each
  // One row of filters floats for each term of a sum: channel by channel, filter row by filter row.
  const float* weights;
  const float* biases;  // one for each filter
  float* out;  // one output after the other; a pixel is filters floats, pixels are in raster order
  ReadAhead* ahead;  // never null
};

// out = relu(sums + biases), or the maxima of that. A sum is the chain of kernels/product.h over
// the terms in the order of weights. relu(x) is x if x > 0, else +0, so a NaN never gets out. The
// variants (kernels/kernel_set.h) give the same bits.
void convolveDirectPlain(int32_t shape, const DirectConvolution& task);
void convolveDirectSse2(int32_t shape, const DirectConvolution& task);
void convolveDirectAvx2(int32_t shape, const DirectConvolution& task);
void convolveDirectAvx512(int32_t shape, const DirectConvolution& task);
void convolveDirectNeon(int32_t shape, const DirectConvolution& task);

// out[c * rows + r] = in[r * columns + c]: weights and activations change between the order of a
// direct convolution and that of a Matrix. The two must not overlap.
void transposePlain(const float* in, int32_t rows, int32_t columns, float* out);
void transposeSse2(const float* in, int32_t rows, int32_t columns, float* out);
void transposeAvx2(const float* in, int32_t rows, int32_t columns, float* out);
void transposeAvx512(const float* in, int32_t rows, int32_t columns, float* out);
void transposeNeon(const float* in, int32_t rows, int32_t columns, float* out);

}  // namespace facefeature

#endif
