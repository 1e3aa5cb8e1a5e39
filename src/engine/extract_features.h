// The features of several faces in one pass over the model.
#ifndef FACEFEATURE_ENGINE_EXTRACT_FEATURES_H
#define FACEFEATURE_ENGINE_EXTRACT_FEATURES_H

#include <cstdint>

#include "engine/feature_engine.h"
#include "geometry/landmark_set.h"

namespace facefeature {

// The arguments of ExtractFeature for one face. The caller's, unchanged.
struct FaceRequest {
  const uint8_t* pixels;
  int32_t width;
  int32_t height;
  int32_t stride;  // bytes from row to row
  const LandmarkSet* landmarks;
};

// Faces that pass through a net together. More would gain nothing: the weights of a net and a strip
// of the projections are then read often enough from the cache (docs/performance.md).
constexpr int32_t kFacesAtOnce = 16;

// features[i], 502 floats, becomes what ExtractFeature gives for requests[i], to the bit, for any
// count. The nets and the projections read their trained numbers once for up to kFacesAtOnce faces,
// so that the memory for activations grows with the count up to there. Threads and exceptions as
// for ExtractFeature; one call at a time for an engine.
void ExtractFeatures(FeatureEngine* engine, const FaceRequest* requests, int32_t count,
                     float* const* features);

}  // namespace facefeature

#endif
