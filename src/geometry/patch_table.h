// The 25 patches: which parts of the face they show, and how they are cut.
#ifndef FACEFEATURE_GEOMETRY_PATCH_TABLE_H
#define FACEFEATURE_GEOMETRY_PATCH_TABLE_H

#include <cstdint>

namespace facefeature {

constexpr int32_t kPatchCount = 25;
constexpr int32_t kLargestSample = 9075;  // 55 x 55 pixels of three planes

// One array for each column of the table; element p belongs to patch p, whose net is net p.
struct PatchSpec {
  int32_t patchSize[kPatchCount];      // side of the square sample, in pixels of the frame
  int32_t referenceSpan[kPatchCount];  // length of referenceLength in the frame, in pixels
  float offsetFactor[kPatchCount];     // the sample lies this many referenceSpans below its point
  int32_t columnMargin[kPatchCount];   // columns blanked at the left and at the right
  int32_t rowMargin[kPatchCount];      // rows blanked at top and bottom; only if columnMargin is 0
  int32_t centerPoint[kPatchCount];    // slot that the direct sample is centred at
  int32_t mirrorPoint[kPatchCount];    // slot that the mirrored sample is centred at
  int32_t isColor[kPatchCount];        // 1: three planes from the colour frame; 0: one, gray
};

extern const PatchSpec patchSpec;

// Floats in one sample of patch p: patchSize squared, times three for a colour patch.
int32_t sampleLength(int32_t patch);

}  // namespace facefeature

#endif
