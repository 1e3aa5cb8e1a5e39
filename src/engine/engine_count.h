// The number of live engines.  [STATE]
#ifndef FACEFEATURE_ENGINE_ENGINE_COUNT_H
#define FACEFEATURE_ENGINE_ENGINE_COUNT_H

#include <cstdint>

namespace facefeature {

// Incremented by a creation that succeeds, decremented by a destruction; the model's buffers are
// freed with the last engine. Written while no function of the library other than CompareFeatures
// runs.
extern int32_t engineCount;

}  // namespace facefeature

#endif
