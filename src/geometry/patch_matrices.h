// From a photograph and its landmarks to what the 25 nets read.
#ifndef FACEFEATURE_GEOMETRY_PATCH_MATRICES_H
#define FACEFEATURE_GEOMETRY_PATCH_MATRICES_H

#include <cstdint>
#include <vector>

#include "engine/feature_engine.h"
#include "geometry/landmark_set.h"
#include "kernels/matrix.h"

namespace facefeature {

// Returns 25 matrices in patch order, on the heap like the array: both belong to the caller. Each
// has two rows, the patch and its mirrored form, of sampleLength(patch) floats.
//
// pixels: blue, green, red, rows stride bytes apart. grayImage: its gray copy, rows of width bytes;
// where it is null, gray values are made of the pixels that gray frames read, with the same result.
// Uses the engine's two faces as scratch; each ends with the frame of the last patch of its kind.
// One call at a time for an engine. Throws std::bad_alloc.
// REQUIRES: width and height of at least 2, and a record with 25 entries for the alignment.
std::vector<Matrix*>* BuildPatchMatrices(FeatureEngine* engine, const uint8_t* pixels,
                                         int32_t width, int32_t height, int32_t stride,
                                         const uint8_t* grayImage, const LandmarkSet* landmarks);

// Frees such an array with its matrices.
void freePatchMatrices(std::vector<Matrix*>* matrices);

}  // namespace facefeature

#endif
