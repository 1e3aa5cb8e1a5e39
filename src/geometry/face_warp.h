// Resamples the photograph into the canonical frame.
#ifndef FACEFEATURE_GEOMETRY_FACE_WARP_H
#define FACEFEATURE_GEOMETRY_FACE_WARP_H

#include <cstdint>

namespace facefeature {

constexpr int32_t kCanonicalSide = 160;
constexpr int32_t kGrayFaceBytes = kCanonicalSide * kCanonicalSide;
constexpr int32_t kColorFaceBytes = kGrayFaceBytes * 3;

// Each pixel of the frame is read from the image at the position that the similarity (a, b, tx, ty)
// gives for it, by bilinear interpolation. Outside the image the weights extrapolate or follow a
// sawtooth, and a byte may wrap: see the .cpp.
//
// image: width x height pixels of one byte, rows stride bytes apart. grayFace: 160 x 160 bytes.
// REQUIRES: width and height of at least 2.
void WarpGrayFace(const uint8_t* image, int32_t width, int32_t height, int32_t stride,
                  uint8_t* grayFace, float a, float b, float tx, float ty);

// The same for three bytes a pixel, each channel separately. colorFace: 160 x 160 x 3 bytes, the
// channels in the order of the image. stride may be negative.
void WarpColorFace(const uint8_t* image, int32_t width, int32_t height, int32_t stride,
                   uint8_t* colorFace, float a, float b, float tx, float ty);

// A part of the frame: columns left to right - 1 of rows top to bottom - 1.
struct FrameRect {
  int32_t left;
  int32_t top;
  int32_t right;
  int32_t bottom;
};

constexpr FrameRect kWholeFrame = {0, 0, kCanonicalSide, kCanonicalSide};

// The same for a part of the frame; the rest of it is unchanged.
void WarpGrayRect(const uint8_t* image, int32_t width, int32_t height, int32_t stride,
                  uint8_t* grayFace, const FrameRect& rect, float a, float b, float tx, float ty);
void WarpColorRect(const uint8_t* image, int32_t width, int32_t height, int32_t stride,
                   uint8_t* colorFace, const FrameRect& rect, float a, float b, float tx, float ty);

// WarpGrayRect from a colour image, converting only the pixels that are read to gray. The bytes are
// those of a warp of the whole gray image.
void WarpGrayRectFromColor(const uint8_t* pixels, int32_t width, int32_t height, int32_t stride,
                           uint8_t* grayFace, const FrameRect& rect, float a, float b, float tx,
                           float ty);

}  // namespace facefeature

#endif
