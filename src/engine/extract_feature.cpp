// ExtractFeature: the path of one request.
#include <algorithm>
#include <cstddef>
#include <limits>
#include <memory>
#include <new>
#include <vector>

#include "engine/build_patch_matrices.h"
#include "engine/feature_engine.h"
#include "engine/model_state.h"
#include "engine/net_features.h"
#include "engine/project_feature.h"
#include "engine/request.h"
#include "geometry/gray_image.h"
#include "geometry/landmark_set.h"
#include "geometry/patch_plan.h"
#include "kernels/matrix.h"

namespace facefeature {
namespace {

// The gray copy of the photograph. Null with shared frames, which compute gray values as they read
// them: a face reads some ten thousand pixels, and a photograph may have as many millions. The size
// is computed in 64 bits, also on systems with 32-bit addresses.
std::unique_ptr<uint8_t[]> grayImageOf(const uint8_t* pixels, int32_t width, int32_t height,
                                       int32_t stride, PatchPlan plan) {
  std::unique_ptr<uint8_t[]> gray;
  if (plan == PatchPlan::kSharedFrames) return gray;
  const uint64_t count = static_cast<uint64_t>(width) * static_cast<uint64_t>(height);
  if (count > std::numeric_limits<size_t>::max()) throw std::bad_alloc();
  gray.reset(new uint8_t[static_cast<size_t>(count)]);
  ConvertToGray(pixels, width, height, stride, gray.get());
  return gray;
}

}  // namespace

void ExtractFeature(FeatureEngine* engine, const uint8_t* pixels, int32_t width, int32_t height,
                    int32_t stride, const LandmarkSet* landmarks, float* feature, PatchPlan plan) {
  if (engine == nullptr || feature == nullptr) return;
  if (!isGoodRequest(pixels, width, height, landmarks)) {
    // A score with such a feature is NaN, which reaches no threshold.
    std::fill(feature, feature + kFeatureFloats, std::numeric_limits<float>::quiet_NaN());
    return;
  }
  const std::unique_ptr<float[]> patchFeatures(new float[kPatchFeatureFloats]);
  const std::unique_ptr<uint8_t[]> grayImage = grayImageOf(pixels, width, height, stride, plan);
  std::vector<Matrix*>* patchMatrices =
      BuildPatchMatrices(engine, pixels, width, height, stride, grayImage.get(), landmarks, plan);
  runNets(engine->nets, *patchMatrices, patchFeatures.get());
  ProjectFeature(patchFeatures.get(), feature);
  freePatchMatrices(patchMatrices);
}

}  // namespace facefeature
