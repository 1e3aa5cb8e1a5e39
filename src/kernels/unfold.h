// Copies the pixels under a sliding filter into a matrix.
#ifndef FACEFEATURE_KERNELS_UNFOLD_H
#define FACEFEATURE_KERNELS_UNFOLD_H

#include <cstdint>

namespace facefeature {

// Output positions along one side: (side + 2 padding - filterSize) / stride + 1, the division
// truncating toward zero, so a filter one pixel too large for stride 2 still gives one position.
int32_t unfoldedSide(int32_t side, int32_t filterSize, int32_t padding, int32_t stride);

// Row p of patches holds, for all output positions in raster order, the pixel under weight p of a
// filter; p counts channels, then filter rows, then filter columns. Pixels of the zero border are
// 0.
//
// image: channels planes of height x width. patches: channels * filterSize^2 rows of as many values
// as there are output positions, written densely. REQUIRES: stride is not 0.
void UnfoldPatches(const float* image, int32_t channels, int32_t height, int32_t width,
                   int32_t filterSize, int32_t padding, int32_t stride, float* patches);

// Its two variants (kernels/kernel_set.h). The fast one copies whole runs of a row if stride is 1.
void unfoldPlain(const float* image, int32_t channels, int32_t height, int32_t width,
                 int32_t filterSize, int32_t padding, int32_t stride, float* patches);
void unfoldFast(const float* image, int32_t channels, int32_t height, int32_t width,
                int32_t filterSize, int32_t padding, int32_t stride, float* patches);

}  // namespace facefeature

#endif
