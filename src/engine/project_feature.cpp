#include "engine/project_feature.h"

#include <cstdint>

#include "engine/model_state.h"
#include "kernels/kernel_set.h"
#include "kernels/rounded_math.h"

namespace facefeature {

void ProjectFeature(float* patchFeatures, float* feature) {
  float* x = patchFeatures;
  for (int32_t k = 0; k < kPatchFeatureFloats; ++k) x[k] = x[k] - featureMean[k];

  float selfProducts[kProjectedFloats];
  activeKernels->projectRows(selfProjection, kProjectedFloats, kPatchFeatureFloats, x,
                             selfProducts);
  activeKernels->projectRows(crossProjection, kProjectedFloats, kPatchFeatureFloats, x, feature);

  float selfSquares = 0.0f;
  float crossSquares = 0.0f;
  for (int32_t r = 0; r < kProjectedFloats; ++r) {
    selfSquares += selfProducts[r] * selfProducts[r];
    crossSquares += feature[r] * feature[r];
  }
  // No root here and a root there: a score subtracts the one and divides by the other.
  feature[500] = selfSquares;
  feature[501] = roundedSqrt(crossSquares);
}

}  // namespace facefeature
