#include "engine/feature_engine.h"
#include "engine/model_state.h"

namespace facefeature {

float CompareFeatures(const FeatureVector* a, const FeatureVector* b) {
  float product = 0.0f;
  for (int32_t k = 0; k < kProjectedFloats; ++k) product += a->values[k] * b->values[k];
  const float squares = a->values[500] + b->values[500];
  const float numerator = product * 2.0f - squares;
  const float norms = a->values[501] * b->values[501];
  // Not clamped, and a norm of 0 is not checked for: infinities and NaNs are valid results.
  return numerator / norms + 1.0f;
}

}  // namespace facefeature
