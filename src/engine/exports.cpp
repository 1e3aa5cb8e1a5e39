// The four functions that the library exports, and nothing else (exports.map, exports.def).
#include "engine/feature_engine.h"
#include "platform/exported.h"

FACEFEATURE_EXPORTED FeatureEngine* CreateFeatureEngine() {
  return facefeature::CreateFeatureEngine();
}

FACEFEATURE_EXPORTED void ExtractFeature(FeatureEngine* engine, const uint8_t* pixels,
                                         int32_t width, int32_t height, int32_t stride,
                                         const LandmarkSet* landmarks, float* feature) {
  facefeature::ExtractFeature(engine, pixels, width, height, stride, landmarks, feature);
}

FACEFEATURE_EXPORTED float CompareFeatures(const FeatureVector* a, const FeatureVector* b) {
  return facefeature::CompareFeatures(a, b);
}

FACEFEATURE_EXPORTED void DestroyFeatureEngine(FeatureEngine* engine) {
  facefeature::DestroyFeatureEngine(engine);
}
