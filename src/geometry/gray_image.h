// The gray copy of a photograph.
#ifndef FACEFEATURE_GEOMETRY_GRAY_IMAGE_H
#define FACEFEATURE_GEOMETRY_GRAY_IMAGE_H

#include <cstdint>

namespace facefeature {

// gray = (117 blue + 601 green + 306 red) >> 10: the weights 0.114, 0.587 and 0.299 of ITU-R BT.601
// in units of 1/1024. pixels: blue, green, red, rows stride bytes apart (stride may be negative).
// gray: width * height bytes, rows without gaps, owned by the caller. Does nothing for a height
// below 1.
//
// Inline, since the warp also calls it for the four pixels that it reads of a photograph.
inline void ConvertToGray(const uint8_t* pixels, int32_t width, int32_t height, int32_t stride,
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

#endif
