// The input of the 25 nets, for one face.
#ifndef FACEFEATURE_ENGINE_BUILD_PATCH_MATRICES_H
#define FACEFEATURE_ENGINE_BUILD_PATCH_MATRICES_H

#include <cstdint>
#include <vector>

#include "engine/feature_engine.h"
#include "geometry/landmark_set.h"
#include "geometry/patch_plan.h"
#include "kernels/matrix.h"

namespace facefeature {

// Returns 25 matrices in patch order, on the heap like the array: both belong to the caller. Each
// has two rows of sampleLength(patch) floats, the patch and its mirrored variant.
//
// pixels: blue, green, red, rows stride bytes apart. grayImage: its gray copy, rows of width bytes;
// if it is null, gray values are computed from the pixels that gray frames read, with the same
// result. Uses the engine's two faces as scratch, and patchMeans. One call at a time for an engine.
// Throws std::bad_alloc. REQUIRES: what fillPatches requires (geometry/fill_patches.h).
std::vector<Matrix*>* BuildPatchMatrices(FeatureEngine* engine, const uint8_t* pixels,
                                         int32_t width, int32_t height, int32_t stride,
                                         const uint8_t* grayImage, const LandmarkSet* landmarks,
                                         PatchPlan plan = PatchPlan::kSharedFrames);

// Frees such an array and its matrices.
void freePatchMatrices(std::vector<Matrix*>* matrices);

}  // namespace facefeature

#endif
