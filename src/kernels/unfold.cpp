#include "kernels/unfold.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "kernels/kernel_set.h"

namespace facefeature {

int32_t unfoldedSide(int32_t side, int32_t filterSize, int32_t padding, int32_t stride) {
  const int64_t room = static_cast<int64_t>(side) + 2 * static_cast<int64_t>(padding) - filterSize;
  const int64_t positions = room / stride + 1;
  return static_cast<int32_t>(std::clamp<int64_t>(positions, std::numeric_limits<int32_t>::min(),
                                                  std::numeric_limits<int32_t>::max()));
}

void unfoldPlain(const float* image, int32_t channels, int32_t height, int32_t width,
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

namespace {

// One output row for one weight: count values, the first from column ix of the image row, 0 outside
// of it. A null row is outside of the image.
void copyRun(const float* row, int32_t width, int64_t ix, int32_t count, float* out) {
  const int64_t first = std::clamp<int64_t>(-ix, 0, count);
  const int64_t last = row == nullptr ? first : std::clamp<int64_t>(width - ix, first, count);
  std::fill(out, out + first, 0.0f);
  if (last > first) {
    std::memcpy(out + first, row + ix + first, static_cast<size_t>(last - first) * sizeof(float));
  }
  std::fill(out + last, out + count, 0.0f);
}

}  // namespace

void unfoldFast(const float* image, int32_t channels, int32_t height, int32_t width,
                int32_t filterSize, int32_t padding, int32_t stride, float* patches) {
  if (stride != 1) {
    return unfoldPlain(image, channels, height, width, filterSize, padding, stride, patches);
  }
  const int32_t outHeight = unfoldedSide(height, filterSize, padding, stride);
  const int32_t outWidth = unfoldedSide(width, filterSize, padding, stride);
  if (outHeight < 1 || outWidth < 1) return;
  for (int64_t c = 0; c < channels; ++c) {
    const float* plane = image + c * height * width;
    for (int64_t ky = 0; ky < filterSize; ++ky) {
      for (int64_t kx = 0; kx < filterSize; ++kx) {
        for (int64_t oy = 0; oy < outHeight; ++oy) {
          const int64_t iy = ky - padding + oy;
          const float* row = iy >= 0 && iy < height ? plane + iy * width : nullptr;
          copyRun(row, width, kx - padding, outWidth, patches);
          patches += outWidth;
        }
      }
    }
  }
}

void UnfoldPatches(const float* image, int32_t channels, int32_t height, int32_t width,
                   int32_t filterSize, int32_t padding, int32_t stride, float* patches) {
  activeKernels->unfold(image, channels, height, width, filterSize, padding, stride, patches);
}

}  // namespace facefeature
