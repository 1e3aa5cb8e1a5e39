// Cuts a patch out of the canonical frame.
#ifndef FACEFEATURE_GEOMETRY_PATCH_SAMPLING_H
#define FACEFEATURE_GEOMETRY_PATCH_SAMPLING_H

#include <cstdint>

#include "geometry/face_warp.h"

namespace facefeature {

// Each takes a frame (160 x 160 pixels, geometry/face_warp.h), the sample's centre in it (x, then
// y), the patch number 0 to 24 and the patch's mean, and writes sampleLength(patch) floats: plane
// after plane (red, green, blue; or the one gray plane), row after row. The mean is subtracted and
// the margins are 0. Positions outside the frame read its border.
//
// The mirrored variants read from right to left instead of from left to right. The mean is not
// mirrored with the pixels.
void SampleGrayPatch(const uint8_t* grayFace, const float* center, int32_t patch, const float* mean,
                     float* out);
void SampleGrayPatchMirrored(const uint8_t* grayFace, const float* center, int32_t patch,
                             const float* mean, float* out);
void SampleColorPatch(const uint8_t* colorFace, const float* center, int32_t patch,
                      const float* mean, float* out);
void SampleColorPatchMirrored(const uint8_t* colorFace, const float* center, int32_t patch,
                              const float* mean, float* out);

// The part of the frame that a sample of the patch with this centre reads, direct or mirrored: step
// is 1 or -1.
FrameRect sampledRect(const float* center, int32_t patch, int32_t step);

}  // namespace facefeature

#endif
