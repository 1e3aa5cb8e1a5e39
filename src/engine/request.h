// Which requests an extraction accepts.
#ifndef FACEFEATURE_ENGINE_REQUEST_H
#define FACEFEATURE_ENGINE_REQUEST_H

#include <cstdint>

#include "geometry/landmark_set.h"

namespace facefeature {

// Whether the model is loaded and the arguments of an extraction are acceptable. What is rejected
// here would be undefined later; nothing else is checked.
bool isGoodRequest(const uint8_t* pixels, int32_t width, int32_t height,
                   const LandmarkSet* landmarks);

// Whether a feature can be projected. A creation that fails or the last destruction ends that.
bool isModelLoaded();

}  // namespace facefeature

#endif
