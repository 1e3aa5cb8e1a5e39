// The four functions that leave the library, and nothing else does (exports.map, exports.def).
#include "engine/feature_engine.h"

#if defined(_WIN32)
#define FACEFEATURE_EXPORT extern "C"
#else
#define FACEFEATURE_EXPORT extern "C" __attribute__((visibility("default")))
#endif

FACEFEATURE_EXPORT FeatureEngine* CreateFeatureEngine() {
  return facefeature::CreateFeatureEngine();
}

FACEFEATURE_EXPORT void ExtractFeature(FeatureEngine* engine, const uint8_t* pixels, int32_t width,
                                       int32_t height, int32_t stride, const LandmarkSet* landmarks,
                                       float* feature) {
  facefeature::ExtractFeature(engine, pixels, width, height, stride, landmarks, feature);
}

FACEFEATURE_EXPORT float CompareFeatures(const FeatureVector* a, const FeatureVector* b) {
  return facefeature::CompareFeatures(a, b);
}

FACEFEATURE_EXPORT void DestroyFeatureEngine(FeatureEngine* engine) {
  facefeature::DestroyFeatureEngine(engine);
}
