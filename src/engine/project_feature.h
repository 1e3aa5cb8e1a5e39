// Projects the outputs of the nets to a feature.
#ifndef FACEFEATURE_ENGINE_PROJECT_FEATURE_H
#define FACEFEATURE_ENGINE_PROJECT_FEATURE_H

#include <cstdint>

namespace facefeature {

// Subtracts featureMean from patchFeatures (8000 floats, overwritten) and projects the result x:
// elements 0 to 499 of feature become crossProjection x, element 500 the sum of squares of
// selfProjection x, and element 501 the Euclidean norm of elements 0 to 499. Only element 501 has a
// square root; CompareFeatures relies on this.
//
// Single precision; one accumulator per sum, in ascending index: the order fixes the bits.
// REQUIRES: the model is loaded (engine/model_state.h).
//
// The rows of the projections are distributed over the threads of the OpenMP runtime.
void ProjectFeature(float* patchFeatures, float* feature);

// The same for count faces, 8000 floats each, in one pass over the projections. Face i's feature is
// written to features[i], with the same bits as for that face by itself.
void ProjectFeatures(float* patchFeatures, int32_t count, float* const* features);

}  // namespace facefeature

#endif
