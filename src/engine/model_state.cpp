#include "engine/model_state.h"

#include <initializer_list>

#include "kernels/matrix.h"

namespace facefeature {

PatchMean patchMeans[kPatchCount];

float* featureMean = nullptr;
float* selfProjection = nullptr;
float* crossProjection = nullptr;

void freeModelBuffers() {
  for (float** buffer : {&featureMean, &selfProjection, &crossProjection}) {
    releaseFloats(*buffer);
    *buffer = nullptr;
  }
}

}  // namespace facefeature
