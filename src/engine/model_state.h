// The numbers that all engines share.  [STATE]
#ifndef FACEFEATURE_ENGINE_MODEL_STATE_H
#define FACEFEATURE_ENGINE_MODEL_STATE_H

#include <cstdint>

#include "geometry/patch_means.h"
#include "geometry/patch_table.h"

namespace facefeature {

constexpr int32_t kPatchFeatureFloats = 8000;  // 25 nets, 2 rows, 160 floats
constexpr int32_t kProjectedFloats = 500;

// Written by CreateFeatureEngine, read by extractions. Element p is the mean of patch p. All 0
// after loading; never cleared.
extern PatchMean patchMeans[kPatchCount];

// Written by CreateFeatureEngine, freed by the destruction of the last engine, read by extractions;
// null while there is no model. The projections are 500 rows of 8000 floats each, row after row.
extern float* featureMean;      // 8000 floats
extern float* selfProjection;   // computes element 500 of a feature
extern float* crossProjection;  // computes elements 0 to 499

// Frees the three buffers, in this order, and sets the pointers to null.
void freeModelBuffers();

}  // namespace facefeature

#endif
