#include "geometry/face_warp.h"

#include <algorithm>

#include "geometry/gray_image.h"
#include "geometry/truncate.h"

namespace facefeature {
namespace {

// A position in the image: the upper left of four pixels, and the weight of each.
struct SourcePosition {
  int32_t x, y;
  float w00, w10, w01, w11;
};

// Position c along an axis, as the index of the first of two pixels and the fraction to the second.
//
// The fraction belongs to the unclamped position. Left of and above the image it is negative and
// the weights extrapolate; right of and below it, it sweeps from 0 to 1 repeatedly over the last
// two columns or rows. This is part of the definition of a feature: clamping the fraction as well
// would change the feature of every face near the border of its photograph. At a whole number on
// the last column the second-last pixel is read, with a fraction of 0.
int32_t splitPosition(float c, int32_t length, float& fraction) {
  const int32_t index = truncateToInt(c);
  fraction = c - static_cast<float>(index);
  return std::min(std::max(index, 0), length - 2);
}

SourcePosition positionAt(float sx, float sy, int32_t width, int32_t height) {
  float fx;
  float fy;
  SourcePosition at;
  at.x = splitPosition(sx, width, fx);
  at.y = splitPosition(sy, height, fy);
  at.w00 = (1.0f - fx) * (1.0f - fy);
  at.w10 = (1.0f - fy) * fx;
  at.w01 = (1.0f - fx) * fy;
  at.w11 = fy * fx;
  return at;
}

// One byte from the four pixels. It is not clamped to 0 to 255: an extrapolated value wraps, so 256
// becomes 0 and -1 becomes 255. NaN, infinite and huge values truncate to -2147483648, whose low
// byte is 0: a frame that can't be placed is zero.
uint8_t blend(const SourcePosition& at, uint8_t b00, uint8_t b10, uint8_t b01, uint8_t b11) {
  const float p00 = b00;
  const float p10 = b10;
  const float p01 = b01;
  const float p11 = b11;
  const float v = (((at.w10 * p10 + at.w00 * p00) + at.w01 * p01) + at.w11 * p11) + 0.5f;
  return static_cast<uint8_t>(static_cast<uint32_t>(truncateToInt(v)) & 0xFFu);
}

// One pixel of the frame, from the four pixels of the image that start at p.
using BlendPixel = void (*)(const SourcePosition& at, const uint8_t* p, int64_t stride,
                            uint8_t* out);

inline void blendGray(const SourcePosition& at, const uint8_t* p, int64_t stride, uint8_t* out) {
  out[0] = blend(at, p[0], p[1], p[stride], p[stride + 1]);
}

inline void blendColor(const SourcePosition& at, const uint8_t* p, int64_t stride, uint8_t* out) {
  for (int32_t c = 0; c < 3; ++c) {
    out[c] = blend(at, p[c], p[c + 3], p[stride + c], p[stride + c + 3]);
  }
}

inline void blendGrayOfColor(const SourcePosition& at, const uint8_t* p, int64_t stride,
                             uint8_t* out) {
  uint8_t gray[4];
  ConvertToGray(p, 2, 2, static_cast<int32_t>(stride), gray);
  out[0] = blend(at, gray[0], gray[1], gray[2], gray[3]);
}

// An image, and the number of bytes in its pixels and in those of the frame.
struct Source {
  const uint8_t* image;
  int32_t width;
  int32_t height;
  int32_t stride;
  int32_t pixelBytes;
  int32_t faceBytes;
};

const uint8_t* pixelAt(const Source& source, const SourcePosition& at) {
  return source.image + static_cast<int64_t>(at.y) * source.stride +
         static_cast<int64_t>(at.x) * source.pixelBytes;
}

// Prefetches memory that will be read; does nothing on compilers without the builtin.
void prefetch(const uint8_t* p) {
#if defined(__GNUC__)
  __builtin_prefetch(p);
#else
  static_cast<void>(p);
#endif
}

// Inlined into its three callers, so that blendPixel is known in each. Walks a row twice: first
// computes the positions of its pixels and prefetches them, then reads. In a single pass each read
// of a large photograph would wait for the one before it.
inline void warp(const Source& source, BlendPixel blendPixel, uint8_t* face, const FrameRect& rect,
                 float a, float b, float tx, float ty) {
  SourcePosition positions[kCanonicalSide];
  for (int32_t i = rect.top; i < rect.bottom; ++i) {
    const float ia = static_cast<float>(i) * a;
    const float ib = static_cast<float>(i) * b;
    for (int32_t j = rect.left; j < rect.right; ++j) {
      const float sx = (static_cast<float>(j) * a - ib) + tx;
      const float sy = (static_cast<float>(j) * b + ia) + ty;
      positions[j] = positionAt(sx, sy, source.width, source.height);
      const uint8_t* p = pixelAt(source, positions[j]);
      prefetch(p);
      prefetch(p + source.stride);
    }
    uint8_t* out = face + (i * kCanonicalSide + rect.left) * source.faceBytes;
    for (int32_t j = rect.left; j < rect.right; ++j) {
      const SourcePosition& at = positions[j];
      blendPixel(at, pixelAt(source, at), source.stride, out);
      out += source.faceBytes;
    }
  }
}

}  // namespace

void WarpGrayRect(const uint8_t* image, int32_t width, int32_t height, int32_t stride,
                  uint8_t* grayFace, const FrameRect& rect, float a, float b, float tx, float ty) {
  warp({image, width, height, stride, 1, 1}, blendGray, grayFace, rect, a, b, tx, ty);
}

void WarpColorRect(const uint8_t* image, int32_t width, int32_t height, int32_t stride,
                   uint8_t* colorFace, const FrameRect& rect, float a, float b, float tx,
                   float ty) {
  warp({image, width, height, stride, 3, 3}, blendColor, colorFace, rect, a, b, tx, ty);
}

void WarpGrayRectFromColor(const uint8_t* pixels, int32_t width, int32_t height, int32_t stride,
                           uint8_t* grayFace, const FrameRect& rect, float a, float b, float tx,
                           float ty) {
  warp({pixels, width, height, stride, 3, 1}, blendGrayOfColor, grayFace, rect, a, b, tx, ty);
}

void WarpGrayFace(const uint8_t* image, int32_t width, int32_t height, int32_t stride,
                  uint8_t* grayFace, float a, float b, float tx, float ty) {
  WarpGrayRect(image, width, height, stride, grayFace, kWholeFrame, a, b, tx, ty);
}

void WarpColorFace(const uint8_t* image, int32_t width, int32_t height, int32_t stride,
                   uint8_t* colorFace, float a, float b, float tx, float ty) {
  WarpColorRect(image, width, height, stride, colorFace, kWholeFrame, a, b, tx, ty);
}

}  // namespace facefeature
