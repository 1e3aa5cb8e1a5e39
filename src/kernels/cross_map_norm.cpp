#include "kernels/cross_map_norm.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "kernels/checked_geometry.h"

namespace facefeature {
namespace {

// The sum of squares over the window of channels around that of element k. It is accumulated in the
// target itself, so in place an element loses its value before it is read.
void gatherEnergy(const float* row, int32_t k, int32_t pixels, int32_t channels, int32_t sizeX,
                  float* target) {
  const int64_t pixel = k % pixels;
  const int64_t first = static_cast<int64_t>(k / pixels) - sizeX / 2;
  const int64_t low = std::max<int64_t>(first, 0);
  const int64_t high = std::min<int64_t>(first + sizeX, channels);
  target[k] = 0.0f;
  for (int64_t j = low; j < high; ++j) {
    const float value = row[j * pixels + pixel];
    target[k] = value * value + target[k];
  }
}

float normFactor(float energy, float alpha, float pow) {
  const float base = alpha * energy + 1.0f;
  return static_cast<float>(std::pow(static_cast<double>(base), -static_cast<double>(pow)));
}

}  // namespace

void crossMapNormForward(const Matrix& input, Matrix& target, int32_t channels, int32_t sizeX,
                         float scale, float pow) {
  const int32_t pixels = divideGeometry(input.cols, channels);
  if (pixels == 0 && input.size > 0) throw std::out_of_range("fewer values than channels");
  target.resizeLike(input);
  const float alpha = scale / static_cast<float>(sizeX);
  // Two passes, with the sums in the target between them.
  for (int32_t r = 0; r < input.rows; ++r) {
    const float* in = input.buffer + static_cast<int64_t>(input.cols) * r;
    float* out = target.buffer + static_cast<int64_t>(target.cols) * r;
    for (int32_t k = 0; k < input.cols; ++k) {
      gatherEnergy(in, k, pixels, channels, sizeX, out);
    }
  }
  for (int32_t i = 0; i < input.size; ++i) {
    target.buffer[i] = normFactor(target.buffer[i], alpha, pow) * input.buffer[i];
  }
}

}  // namespace facefeature
