#include "engine/face_batch.h"

#include <vector>

#include "engine/model_state.h"
#include "engine/net_features.h"
#include "engine/project_feature.h"
#include "geometry/fill_patches.h"
#include "geometry/patch_plan.h"

namespace facefeature {
namespace {

// The rows of one face in the matrix of a patch.
float* rowsOfFace(const FaceBatch& batch, int32_t patch, int32_t index) {
  return batch.patches[patch]->buffer + int64_t{2} * index * sampleLength(patch);
}

}  // namespace

std::unique_ptr<FaceBatch> newFaceBatch() {
  auto batch = std::make_unique<FaceBatch>();
  // Before the engine, whose creation leaks if memory runs out within it. Pages that no face has
  // used take no memory.
  for (int32_t patch = 0; patch < kPatchCount; ++patch) {
    batch->patches[patch] = std::make_unique<Matrix>(2 * kFaceBatchFaces, sampleLength(patch));
  }
  batch->engine = CreateFeatureEngine();
  return batch->engine == nullptr ? nullptr : std::move(batch);
}

void samplePatches(FaceBatch& batch, int32_t index, const uint8_t* pixels, int32_t width,
                   int32_t height, int32_t stride, const LandmarkSet* landmarks) {
  float* rows[kPatchCount];
  for (int32_t patch = 0; patch < kPatchCount; ++patch) {
    rows[patch] = rowsOfFace(batch, patch, index);
  }
  fillPatches({pixels, width, height, stride, nullptr}, landmarks, PatchPlan::kSharedFrames,
              patchMeans, {batch.engine->grayFace, batch.engine->colorFace}, rows);
}

void extractFaces(FaceBatch& batch, int32_t count, FeatureVector* features) {
  const std::unique_ptr<float[]> patchFeatures(
      new float[static_cast<size_t>(count) * kPatchFeatureFloats]);
  std::unique_ptr<Matrix> views[kPatchCount];
  std::vector<Matrix*> matrices;
  for (int32_t patch = 0; patch < kPatchCount; ++patch) {
    views[patch].reset(new Matrix(
        Matrix::view(batch.patches[patch]->buffer, 2 * count, sampleLength(patch), kRowMajor)));
    matrices.push_back(views[patch].get());
  }
  runNetsOnFaces(batch.engine->nets, matrices, count, patchFeatures.get());
  float* targets[kFaceBatchFaces];
  for (int32_t i = 0; i < count; ++i) targets[i] = features[i].values;
  ProjectFeatures(patchFeatures.get(), count, targets);
}

}  // namespace facefeature
