// The features of several faces in one pass over the model.
#ifndef FACEFEATURE_ENGINE_EXTRACT_FEATURES_H
#define FACEFEATURE_ENGINE_EXTRACT_FEATURES_H

#include <cstdint>

#include "engine/feature_engine.h"
#include "geometry/landmark_set.h"

namespace facefeature {

// The arguments of ExtractFeature for one face. The caller owns the memory; it is not modified.
struct FaceRequest {
  const uint8_t* pixels;
  int32_t width;
  int32_t height;
  int32_t stride;  // bytes from the start of one row to the start of the next
  const LandmarkSet* landmarks;
};

// Faces that pass through a net together. More would gain nothing: the weights of a net and a strip
// of the projections are then read often enough from the cache (docs/performance.md).
constexpr int32_t kFacesAtOnce = 16;

// Sets features[i], 502 floats, to the feature of requests[i], bit-identical to ExtractFeature, for
// any count. The nets and the projections read their trained numbers once for up to kFacesAtOnce
// faces, so the memory for activations grows with the count up to that number. Threads and
// exceptions are as for ExtractFeature; one call at a time per engine.
void ExtractFeatures(FeatureEngine* engine, const FaceRequest* requests, int32_t count,
                     float* const* features);

}  // namespace facefeature

#endif
