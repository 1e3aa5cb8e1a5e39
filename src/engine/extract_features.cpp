#include "engine/extract_features.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include "engine/build_patch_matrices.h"
#include "engine/model_state.h"
#include "engine/net_features.h"
#include "engine/project_feature.h"
#include "engine/request.h"
#include "kernels/matrix.h"

namespace facefeature {
namespace {

struct FreePatchMatrices {
  void operator()(std::vector<Matrix*>* matrices) const { freePatchMatrices(matrices); }
};
using PatchMatrices = std::unique_ptr<std::vector<Matrix*>, FreePatchMatrices>;

PatchMatrices patchMatricesOf(FeatureEngine* engine, const FaceRequest& request) {
  return PatchMatrices(BuildPatchMatrices(engine, request.pixels, request.width, request.height,
                                          request.stride, nullptr, request.landmarks));
}

// The patches of all faces as 25 matrices, with the rows of the faces one after the other.
PatchMatrices stackedMatrices(FeatureEngine* engine, const FaceRequest* const* requests,
                              int32_t count) {
  PatchMatrices all;
  for (int32_t face = 0; face < count; ++face) {
    PatchMatrices one = patchMatricesOf(engine, *requests[face]);
    if (count == 1) return one;
    if (all == nullptr) {
      all.reset(new std::vector<Matrix*>());
      all->reserve(one->size());
      for (const Matrix* matrix : *one) {
        all->push_back(new Matrix(matrix->rows * count, matrix->cols));
      }
    }
    for (size_t p = 0; p < one->size(); ++p) {
      const Matrix& matrix = *(*one)[p];
      std::memcpy((*all)[p]->buffer + static_cast<int64_t>(face) * matrix.size, matrix.buffer,
                  static_cast<size_t>(matrix.size) * sizeof(float));
    }
  }
  return all;
}

void extractSome(FeatureEngine* engine, const FaceRequest* const* requests, int32_t count,
                 float* const* features) {
  const std::unique_ptr<float[]> patchFeatures(
      new float[static_cast<size_t>(count) * kPatchFeatureFloats]);
  const PatchMatrices matrices = stackedMatrices(engine, requests, count);
  runNetsOnFaces(engine->nets, *matrices, count, patchFeatures.get());
  ProjectFeatures(patchFeatures.get(), count, features);
}

}  // namespace

void ExtractFeatures(FeatureEngine* engine, const FaceRequest* requests, int32_t count,
                     float* const* features) {
  if (engine == nullptr) return;
  const FaceRequest* good[kFacesAtOnce];
  float* wanted[kFacesAtOnce];
  int32_t collected = 0;
  for (int32_t i = 0; i < count; ++i) {
    if (features[i] == nullptr) continue;
    const FaceRequest& request = requests[i];
    if (!isGoodRequest(request.pixels, request.width, request.height, request.landmarks)) {
      std::fill(features[i], features[i] + kFeatureFloats, std::numeric_limits<float>::quiet_NaN());
      continue;
    }
    good[collected] = &request;
    wanted[collected] = features[i];
    if (++collected < kFacesAtOnce) continue;
    extractSome(engine, good, collected, wanted);
    collected = 0;
  }
  if (collected > 0) extractSome(engine, good, collected, wanted);
}

}  // namespace facefeature
