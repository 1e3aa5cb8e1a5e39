// Local response normalisation across channels.
#ifndef FACEFEATURE_KERNELS_CROSS_MAP_NORM_H
#define FACEFEATURE_KERNELS_CROSS_MAP_NORM_H

#include <cstdint>

#include "kernels/matrix.h"

namespace facefeature {

// target = input * (1 + scale / sizeX * s) ^ -pow, with s the sum of squares over sizeX channels
// around the element's own, at the same pixel. An even sizeX takes one channel more below than
// above. The window is clipped to the existing channels; the divisor stays sizeX. Sums in single
// precision in ascending order of channel, pow in double.
//
// Throws std::out_of_range if channels or the pixels of a plane are 0, and std::bad_alloc. The
// target holds the sums meanwhile, so it must not be the input.
void crossMapNormForward(const Matrix& input, Matrix& target, int32_t channels, int32_t sizeX,
                         float scale, float pow);

}  // namespace facefeature

#endif
