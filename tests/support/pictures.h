// Pictures for tests: any size, any row length, top-down and bottom-up.
#ifndef FACEFEATURE_TESTS_SUPPORT_PICTURES_H
#define FACEFEATURE_TESTS_SUPPORT_PICTURES_H

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "support/random.h"
#include "support/reference_patches.h"

namespace facefeature_test {

// Three bytes a pixel, in storage that ends with the last pixel of the last row in memory, so that
// a memory checker detects a read past it.
struct Picture {
  int32_t width = 0;
  int32_t height = 0;
  int32_t stride = 0;
  std::vector<uint8_t> storage;

  // The first byte of the top row.
  const uint8_t* pixels() const { return storage.data() + offsetOf(0, 0); }
  uint8_t& at(int32_t x, int32_t y, int32_t channel) {
    return storage[static_cast<size_t>(offsetOf(x, y) + channel)];
  }
  reference::PictureView view() const { return {pixels(), width, height, stride}; }

 private:
  std::ptrdiff_t offsetOf(int32_t x, int32_t y) const {
    const std::ptrdiff_t top = stride < 0 ? -std::ptrdiff_t{stride} * (height - 1) : 0;
    return top + std::ptrdiff_t{y} * stride + std::ptrdiff_t{x} * 3;
  }
};

// All bytes 0. stride is at least 3 * width, or at most -3 * width for a bottom-up picture.
inline Picture blankPicture(int32_t width, int32_t height, int32_t stride) {
  Picture picture;
  picture.width = width;
  picture.height = height;
  picture.stride = stride;
  const size_t step = static_cast<size_t>(stride < 0 ? -stride : stride);
  picture.storage.resize(step * static_cast<size_t>(height - 1) + static_cast<size_t>(width) * 3);
  return picture;
}

inline Picture blankPicture(int32_t width, int32_t height) {
  return blankPicture(width, height, 3 * width);
}

// Brightness gradients with noise and a few hard edges; the padding between rows is noise too.
inline Picture randomPicture(Random& random, int32_t width, int32_t height, int32_t stride) {
  Picture picture = blankPicture(width, height, stride);
  for (uint8_t& byte : picture.storage) byte = static_cast<uint8_t>(random.next() >> 56);
  const float noise = random.chance(25) ? 255.0f : random.between(0.0f, 40.0f);
  for (int32_t channel = 0; channel < 3; ++channel) {
    const float across = random.between(-2.0f, 2.0f);
    const float down = random.between(-2.0f, 2.0f);
    const int32_t edge = random.integer(0, width);
    for (int32_t y = 0; y < height; ++y) {
      for (int32_t x = 0; x < width; ++x) {
        float value = 128.0f + across * static_cast<float>(x) + down * static_cast<float>(y) +
                      noise * random.between(-0.5f, 0.5f);
        if (x >= edge) value = 255.0f - value;
        picture.at(x, y, channel) = static_cast<uint8_t>(std::fmax(0.0f, std::fmin(255.0f, value)));
      }
    }
  }
  return picture;
}

// One row length of each kind: exact, a few bytes more, many bytes more, bottom-up.
inline int32_t randomStride(Random& random, int32_t width) {
  const int32_t extra = random.chance(40) ? 0 : random.integer(1, random.chance(50) ? 7 : 3000);
  const int32_t length = 3 * width + extra;
  return random.chance(25) ? -length : length;
}

inline Picture randomPicture(Random& random, int32_t width, int32_t height) {
  return randomPicture(random, width, height, randomStride(random, width));
}

}  // namespace facefeature_test

#endif
