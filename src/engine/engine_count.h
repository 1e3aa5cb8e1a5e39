// How many engines stand.  [STATE]
#ifndef FACEFEATURE_ENGINE_ENGINE_COUNT_H
#define FACEFEATURE_ENGINE_ENGINE_COUNT_H

#include <cstdint>

namespace facefeature {

// Raised by a creation that ends well, lowered by a destruction; the model's buffers go with the
// last engine. Written while no other function of the library but CompareFeatures runs.
extern int32_t engineCount;

}  // namespace facefeature

#endif
