#include "engine/build_patch_matrices.h"

#include <memory>

#include "engine/model_state.h"
#include "geometry/fill_patches.h"
#include "geometry/patch_table.h"

namespace facefeature {

std::vector<Matrix*>* BuildPatchMatrices(FeatureEngine* engine, const uint8_t* pixels,
                                         int32_t width, int32_t height, int32_t stride,
                                         const uint8_t* grayImage, const LandmarkSet* landmarks,
                                         PatchPlan plan) {
  // Frees them only if memory runs out before the return.
  std::unique_ptr<std::vector<Matrix*>, void (*)(std::vector<Matrix*>*)> matrices(
      new std::vector<Matrix*>, freePatchMatrices);
  matrices->reserve(kPatchCount);
  float* patches[kPatchCount];
  for (int32_t patch = 0; patch < kPatchCount; ++patch) {
    matrices->push_back(new Matrix(2, sampleLength(patch)));
    patches[patch] = matrices->back()->buffer;
  }
  fillPatches({pixels, width, height, stride, grayImage}, landmarks, plan, patchMeans,
              {engine->grayFace, engine->colorFace}, patches);
  return matrices.release();
}

void freePatchMatrices(std::vector<Matrix*>* matrices) {
  for (Matrix* matrix : *matrices) delete matrix;
  delete matrices;
}

}  // namespace facefeature
