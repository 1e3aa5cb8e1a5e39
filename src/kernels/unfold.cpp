#include "kernels/unfold.h"

#include <algorithm>
#include <limits>

namespace facefeature {

int32_t unfoldedSide(int32_t side, int32_t filterSize, int32_t padding, int32_t stride) {
  const int64_t room = static_cast<int64_t>(side) + 2 * static_cast<int64_t>(padding) - filterSize;
  const int64_t positions = room / stride + 1;
  return static_cast<int32_t>(std::clamp<int64_t>(positions, std::numeric_limits<int32_t>::min(),
                                                  std::numeric_limits<int32_t>::max()));
}

void UnfoldPatches(const float* image, int32_t channels, int32_t height, int32_t width,
                   int32_t filterSize, int32_t padding, int32_t stride, float* patches) {
  const int32_t outHeight = unfoldedSide(height, filterSize, padding, stride);
  const int32_t outWidth = unfoldedSide(width, filterSize, padding, stride);
  const int32_t patchRows = channels * filterSize * filterSize;
  for (int32_t p = 0; p < patchRows; ++p) {
    const int64_t kx = p % filterSize;
    const int64_t ky = p / filterSize % filterSize;
    const int64_t c = p / filterSize / filterSize;
    for (int32_t oy = 0; oy < outHeight; ++oy) {
      const int64_t iy = ky - padding + static_cast<int64_t>(oy) * stride;
      for (int32_t ox = 0; ox < outWidth; ++ox) {
        const int64_t ix = kx - padding + static_cast<int64_t>(ox) * stride;
        const bool inside = iy >= 0 && iy < height && ix >= 0 && ix < width;
        *patches++ = inside ? image[(c * height + iy) * width + ix] : 0.0f;
      }
    }
  }
}

}  // namespace facefeature
