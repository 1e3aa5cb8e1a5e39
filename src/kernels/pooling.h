// Pools every plane by a square window on a regular grid.
#ifndef FACEFEATURE_KERNELS_POOLING_H
#define FACEFEATURE_KERNELS_POOLING_H

#include <cstdint>

#include "kernels/matrix.h"

namespace facefeature {

// The initial value of max pooling, bits 0xFF167699: the float next to -2e38. Intentionally not the
// lowest float: planes below it pool to it.
constexpr float kMaxPoolFill = -1.9999999360571385e+38f;

// Output (oy, ox) of a plane is pooled from the sizeX x sizeX pixels starting at (oy, ox) * stride
// + start, clipped to the image, in raster order. The image is square; its side is the truncated
// root of input.cols / channels. target becomes input.rows x (outputsX^2 * channels).
//
// Average: the sum in single precision divided by the number of pixels in the clipped window, even
// if that is 0 (a NaN), and -0 or 0 if one span or both are negative. Max: NaNs are skipped; a
// window outside the image gives kMaxPoolFill.
//
// Throws std::out_of_range if channels or outputsX is 0, if the shape of the target does not fit 32
// bits, and for a target that is the input and would change its shape; and std::bad_alloc.
void avgPoolForward(const Matrix& input, Matrix& target, int32_t channels, int32_t sizeX,
                    int32_t start, int32_t stride, int32_t outputsX);
void maxPoolForward(const Matrix& input, Matrix& target, int32_t channels, int32_t sizeX,
                    int32_t start, int32_t stride, int32_t outputsX);

// Maxima of adjacent 2 x 2 windows in one plane of imgSize x imgSize, outputsX along a side, all
// inside: the only case in the built-in nets. The variants (kernels/kernel_set.h) compare in the
// same order; the fast one is written so that a compiler vectorises over several windows.
void maxPoolPairsPlain(const float* plane, int32_t imgSize, int32_t outputsX, float* out);
void maxPoolPairsFast(const float* plane, int32_t imgSize, int32_t outputsX, float* out);

}  // namespace facefeature

#endif
