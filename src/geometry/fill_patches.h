// From a photograph and its landmarks to the 25 patches.
#ifndef FACEFEATURE_GEOMETRY_FILL_PATCHES_H
#define FACEFEATURE_GEOMETRY_FILL_PATCHES_H

#include <cstdint>

#include "geometry/landmark_set.h"
#include "geometry/patch_means.h"
#include "geometry/patch_plan.h"
#include "geometry/patch_table.h"

namespace facefeature {

// A photograph of the caller.
struct Photograph {
  const uint8_t* pixels;  // blue, green, red; rows stride bytes apart
  int32_t width;
  int32_t height;
  int32_t stride;
  const uint8_t* gray;  // the gray copy, rows of width bytes; if null, gray values are computed
                        // from the pixels that gray frames read, with the same result
};

// Memory of the caller into which frames are warped. After a call each face holds the frame of the
// last patch of its kind.
struct ScratchFaces {
  uint8_t* gray;   // kGrayFaceBytes
  uint8_t* color;  // kColorFaceBytes
};

// Writes two rows of sampleLength(p) floats to patches[p], for each p: the patch, then its mirrored
// variant. means: kPatchCount of them, one for each patch. Throws std::bad_alloc.
//
// Any thread; no state. Calls that share scratch faces must not overlap.
// REQUIRES: width and height of at least 2, and what faceOf requires of the record.
void fillPatches(const Photograph& photo, const LandmarkSet* landmarks, PatchPlan plan,
                 const PatchMean* means, const ScratchFaces& scratch,
                 float* const patches[kPatchCount]);

}  // namespace facefeature

#endif
