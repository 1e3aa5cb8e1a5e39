#include "kernels/pooling.h"

#include <algorithm>
#include <stdexcept>

#include "kernels/checked_geometry.h"
#include "kernels/kernel_set.h"

namespace facefeature {
namespace {

// The windows along one plane.
struct Windows {
  int64_t sizeX;
  int64_t start;
  int64_t stride;
  int32_t outputsX;
  int32_t imgSize;
};

// A window, clipped to the image; empty or reversed if it is outside.
struct Window {
  int64_t yLow, yHigh, xLow, xHigh;
};

Window windowAt(const Windows& windows, int32_t position) {
  const int64_t y0 = position / windows.outputsX * windows.stride + windows.start;
  const int64_t x0 = position % windows.outputsX * windows.stride + windows.start;
  return {std::max<int64_t>(y0, 0), std::min<int64_t>(y0 + windows.sizeX, windows.imgSize),
          std::max<int64_t>(x0, 0), std::min<int64_t>(x0 + windows.sizeX, windows.imgSize)};
}

using PoolWindow = float (*)(const float* plane, int64_t imgSize, const Window& window);

float averageOf(const float* plane, int64_t imgSize, const Window& window) {
  float sum = 0.0f;
  for (int64_t y = window.yLow; y < window.yHigh; ++y) {
    for (int64_t x = window.xLow; x < window.xHigh; ++x) sum += plane[y * imgSize + x];
  }
  // Divides by the number of pixels in the window even if that is 0: 0 / 0 is a NaN, and a window
  // that is outside on both axes has two negative spans and so a positive count. The count has 32
  // bits and wraps on overflow.
  const uint32_t count = static_cast<uint32_t>(window.yHigh - window.yLow) *
                         static_cast<uint32_t>(window.xHigh - window.xLow);
  return sum / static_cast<float>(static_cast<int32_t>(count));
}

float maximumOf(const float* plane, int64_t imgSize, const Window& window) {
  float maximum = kMaxPoolFill;
  for (int64_t y = window.yLow; y < window.yHigh; ++y) {
    for (int64_t x = window.xLow; x < window.xHigh; ++x) {
      const float value = plane[y * imgSize + x];
      maximum = value > maximum ? value : maximum;
    }
  }
  return maximum;
}

// The windows of the nets: 2 x 2 pixels, adjacent from the corner on, all inside the image.
bool isPairs(const Windows& windows) {
  return windows.sizeX == 2 && windows.start == 0 && windows.stride == 2 && windows.outputsX > 0 &&
         2 * static_cast<int64_t>(windows.outputsX) <= windows.imgSize;
}

void poolForward(const Matrix& input, Matrix& target, int32_t channels, const Windows& shape,
                 PoolWindow pool, float fill) {
  if (shape.outputsX == 0) throw std::out_of_range("no outputs along a side");
  // The side is the root of a plane's pixels, truncated. Planes still start at multiples of the
  // pixels, so the last pixels of a plane that is not square are never read.
  const int32_t imgPixels = divideGeometry(input.cols, channels);
  Windows windows = shape;
  windows.imgSize = truncatedSquareRoot(imgPixels);
  const int32_t outPixels = multiplyGeometry(shape.outputsX, shape.outputsX);
  const int32_t outputCols = multiplyGeometry(outPixels, channels);
  if (&target == &input) {
    if (target.cols != outputCols) throw std::out_of_range("a pooling that reshapes its input");
    // The target is filled before the first window is read, so in place nothing of the input
    // remains to be pooled.
    std::fill(target.buffer, target.buffer + target.size, fill);
  }
  target.resize(input.rows, outputCols);

  const bool pairs = pool == maximumOf && isPairs(windows) && &target != &input;
  for (int32_t r = 0; r < input.rows; ++r) {
    const float* row = input.buffer + static_cast<int64_t>(input.cols) * r;
    float* out = target.buffer + static_cast<int64_t>(target.cols) * r;
    for (int32_t c = 0; c < channels; ++c) {
      const float* plane = row + static_cast<int64_t>(imgPixels) * c;
      if (pairs) {
        activeKernels->maxPoolPairs(plane, windows.imgSize, shape.outputsX, out);
        out += outPixels;
        continue;
      }
      for (int32_t q = 0; q < outPixels; ++q) {
        *out++ = pool(plane, windows.imgSize, windowAt(windows, q));
      }
    }
  }
}

}  // namespace

void avgPoolForward(const Matrix& input, Matrix& target, int32_t channels, int32_t sizeX,
                    int32_t start, int32_t stride, int32_t outputsX) {
  poolForward(input, target, channels, {sizeX, start, stride, outputsX, 0}, averageOf, 0.0f);
}

void maxPoolForward(const Matrix& input, Matrix& target, int32_t channels, int32_t sizeX,
                    int32_t start, int32_t stride, int32_t outputsX) {
  poolForward(input, target, channels, {sizeX, start, stride, outputsX, 0}, maximumOf,
              kMaxPoolFill);
}

void maxPoolPairsPlain(const float* plane, int32_t imgSize, int32_t outputsX, float* out) {
  const Windows windows = {2, 0, 2, outputsX, imgSize};
  for (int32_t q = 0; q < outputsX * outputsX; ++q) {
    out[q] = maximumOf(plane, imgSize, windowAt(windows, q));
  }
}

void maxPoolPairsFast(const float* plane, int32_t imgSize, int32_t outputsX, float* out) {
  for (int64_t oy = 0; oy < outputsX; ++oy) {
    const float* upper = plane + 2 * oy * imgSize;
    const float* lower = upper + imgSize;
    float* row = out + oy * outputsX;
    for (int64_t ox = 0; ox < outputsX; ++ox) {
      // In raster order, with the running maximum as second operand: it wins ties and against NaNs.
      float maximum = kMaxPoolFill;
      maximum = elementMax(upper[2 * ox], maximum);
      maximum = elementMax(upper[2 * ox + 1], maximum);
      maximum = elementMax(lower[2 * ox], maximum);
      maximum = elementMax(lower[2 * ox + 1], maximum);
      row[ox] = maximum;
    }
  }
}

}  // namespace facefeature
