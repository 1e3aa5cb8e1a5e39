// The gray copy of a photograph.
#ifndef FACEFEATURE_GEOMETRY_GRAY_IMAGE_H
#define FACEFEATURE_GEOMETRY_GRAY_IMAGE_H

#include <cstdint>

namespace facefeature {

// gray = (117 blue + 601 green + 306 red) >> 10: the weights 0.114, 0.587 and 0.299 of ITU-R BT.601
// in units of 1/1024. pixels: blue, green, red, rows stride bytes apart (stride may be negative).
// gray: width * height bytes, rows without gaps, the caller's. Nothing is done for a height
// below 1.
void ConvertToGray(const uint8_t* pixels, int32_t width, int32_t height, int32_t stride,
                   uint8_t* gray);

}  // namespace facefeature

#endif
