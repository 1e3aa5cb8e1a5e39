// Filters with separate weights at every output position.
#ifndef FACEFEATURE_KERNELS_LOCAL_H
#define FACEFEATURE_KERNELS_LOCAL_H

#include <cstdint>

#include "kernels/matrix.h"

namespace facefeature {

// output(f, m) = sum over l of patches(l, m) * weights(f, m * L + l), L = channels * filterSize^2,
// summed in single precision from 0 in ascending l, each product rounded first. If scale is 0 the
// output is resized before, and the biases, one for each output, are added after. The sums replace
// the contents of the output whatever scale is: of several inputs only the last remains, without
// biases. convolveForward adds instead; the difference is intentional.
//
// weights: filters x (modulesX^2 * L). biases is reshaped to filters x modulesX^2 at every call,
// whatever its file said; its size is not changed. output may be input if that keeps its shape.
// Throws std::out_of_range for geometry that would leave the matrices, and std::bad_alloc.
void localForward(const Matrix& input, const Matrix& weights, Matrix& biases, Matrix& output,
                  int32_t imgSize, int32_t modulesY, int32_t modulesX, int32_t padding,
                  int32_t stride, int32_t channels, float scale);

}  // namespace facefeature

#endif
