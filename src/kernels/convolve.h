// Convolution with filters that all output positions share.
#ifndef FACEFEATURE_KERNELS_CONVOLVE_H
#define FACEFEATURE_KERNELS_CONVOLVE_H

#include <cstdint>

#include "kernels/matrix.h"

namespace facefeature {

// For each sample in turn: unfolds the image (kernels/unfold.h), computes output = weights *
// patches + scale * output by cblas_sgemm and then, if scale is 0, adds bias f to plane f. With
// scale 0 the output is resized to input.rows x (modulesX^2 * weights.rows) and overwritten; with
// any other value the product is added to its contents, without biases.
//
// input: one row per sample, channels planes of imgSize rows each; the width follows from the row
// length. weights: filters x (channels * filterSize^2). biases: filters x 1. The filter size is
// derived from weights.cols. alpha scales the product; layers pass 1. output may be input if that
// keeps its shape. Throws std::out_of_range for geometry that would leave the matrices, and
// std::bad_alloc.
void convolveForward(const Matrix& input, const Matrix& weights, const Matrix& biases,
                     Matrix& output, int32_t imgSize, int32_t modulesY, int32_t modulesX,
                     int32_t padding, int32_t stride, int32_t channels, float scale, float alpha);

}  // namespace facefeature

#endif
