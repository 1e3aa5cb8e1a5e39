#include "geometry/gray_image.h"

namespace facefeature {

void ConvertToGray(const uint8_t* pixels, int32_t width, int32_t height, int32_t stride,
                   uint8_t* gray) {
  for (int32_t row = 0; row < height; ++row) {
    const uint8_t* source = pixels + static_cast<int64_t>(stride) * row;
    uint8_t* target = gray + static_cast<int64_t>(width) * row;
    for (int32_t x = 0; x < width; ++x) {
      const int64_t at = static_cast<int64_t>(x) * 3;
      const uint32_t sum = 117u * source[at] + 601u * source[at + 1] + 306u * source[at + 2];
      target[x] = static_cast<uint8_t>(sum >> 10);
    }
  }
}

}  // namespace facefeature
