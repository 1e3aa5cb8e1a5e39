#include "engine/project_feature.h"

#include <cstdint>

#include "engine/model_state.h"
#include "kernels/rounded_math.h"

namespace facefeature {

void ProjectFeature(float* patchFeatures, float* feature) {
  float* x = patchFeatures;
  for (int32_t k = 0; k < kPatchFeatureFloats; ++k) x[k] = x[k] - featureMean[k];

  float selfSquares = 0.0f;
  float crossSquares = 0.0f;
  for (int32_t r = 0; r < kProjectedFloats; ++r) {
    const float* selfRow = selfProjection + static_cast<int64_t>(r) * kPatchFeatureFloats;
    const float* crossRow = crossProjection + static_cast<int64_t>(r) * kPatchFeatureFloats;
    // One accumulator for each sum, j rising. Several, or a wider one, would end on other bits; a
    // faster form may only work on several rows at a time.
    float selfSum = 0.0f;
    float crossSum = 0.0f;
    for (int32_t j = 0; j < kPatchFeatureFloats; ++j) {
      selfSum += selfRow[j] * x[j];
      crossSum += crossRow[j] * x[j];
    }
    feature[r] = crossSum;
    selfSquares += selfSum * selfSum;
    crossSquares += crossSum * crossSum;
  }
  // No root here and a root there: a score subtracts the one and divides by the other.
  feature[500] = selfSquares;
  feature[501] = roundedSqrt(crossSquares);
}

}  // namespace facefeature
