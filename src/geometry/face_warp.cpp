#include "geometry/face_warp.h"

#include <algorithm>

#include "geometry/truncate.h"

namespace facefeature {
namespace {

// A place in the image: the upper left of four pixels, and what each of them weighs.
struct Place {
  int32_t x, y;
  float w00, w10, w01, w11;
};

// Position c along an axis, as the index of the first of two pixels and the fraction to the second.
//
// The fraction belongs to the unclamped position. Left of and above the image it is negative and
// the weights extrapolate; right of and below it it sweeps 0 to 1 again and again over the last two
// columns or rows. Part of what a feature is: clamp it too, and every face near the border of its
// photograph gets another feature. At a whole number on the last column the second-last is read,
// with a fraction of 0.
int32_t splitPosition(float c, int32_t length, float& fraction) {
  const int32_t index = truncateToInt(c);
  fraction = c - static_cast<float>(index);
  return std::min(std::max(index, 0), length - 2);
}

Place placeAt(float sx, float sy, int32_t width, int32_t height) {
  float fx;
  float fy;
  Place place;
  place.x = splitPosition(sx, width, fx);
  place.y = splitPosition(sy, height, fy);
  place.w00 = (1.0f - fx) * (1.0f - fy);
  place.w10 = (1.0f - fy) * fx;
  place.w01 = (1.0f - fx) * fy;
  place.w11 = fy * fx;
  return place;
}

// One byte from the four that lie at p, right of it, below it and right below it. Not clamped to 0
// to 255: an extrapolated value wraps, so that 256 becomes 0 and -1 becomes 255. NaN, infinite and
// huge values truncate to -2147483648, whose low byte is 0: a frame that can't be placed is zero.
uint8_t blend(const Place& place, const uint8_t* p, int32_t pixelBytes, int64_t stride) {
  const float p00 = p[0];
  const float p10 = p[pixelBytes];
  const float p01 = p[stride];
  const float p11 = p[stride + pixelBytes];
  const float v =
      (((place.w10 * p10 + place.w00 * p00) + place.w01 * p01) + place.w11 * p11) + 0.5f;
  return static_cast<uint8_t>(static_cast<uint32_t>(truncateToInt(v)) & 0xFFu);
}

void warp(const uint8_t* image, int32_t width, int32_t height, int32_t stride, int32_t pixelBytes,
          uint8_t* face, float a, float b, float tx, float ty) {
  for (int32_t i = 0; i < kCanonicalSide; ++i) {
    const float ia = static_cast<float>(i) * a;
    const float ib = static_cast<float>(i) * b;
    for (int32_t j = 0; j < kCanonicalSide; ++j) {
      const float sx = (static_cast<float>(j) * a - ib) + tx;
      const float sy = (static_cast<float>(j) * b + ia) + ty;
      const Place place = placeAt(sx, sy, width, height);
      const uint8_t* p = image + static_cast<int64_t>(place.y) * stride +
                         static_cast<int64_t>(place.x) * pixelBytes;
      for (int32_t channel = 0; channel < pixelBytes; ++channel) {
        *face++ = blend(place, p + channel, pixelBytes, stride);
      }
    }
  }
}

}  // namespace

void WarpGrayFace(const uint8_t* image, int32_t width, int32_t height, int32_t stride,
                  uint8_t* grayFace, float a, float b, float tx, float ty) {
  warp(image, width, height, stride, 1, grayFace, a, b, tx, ty);
}

void WarpColorFace(const uint8_t* image, int32_t width, int32_t height, int32_t stride,
                   uint8_t* colorFace, float a, float b, float tx, float ty) {
  warp(image, width, height, stride, 3, colorFace, a, b, tx, ty);
}

}  // namespace facefeature
