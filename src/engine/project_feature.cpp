#include "engine/project_feature.h"

#include <algorithm>
#include <cstdint>

#include "engine/model_state.h"
#include "kernels/kernel_set.h"
#include "kernels/project_rows.h"
#include "kernels/rounded_math.h"

namespace facefeature {

namespace {

// Rows that a thread takes at a time: a multiple of the lanes of every kernel set, and few enough
// that threads finish at about the same time.
constexpr int32_t kRowsAtOnce = 80;
constexpr int32_t kBlocks = (kProjectedFloats + kRowsAtOnce - 1) / kRowsAtOnce;

// Rows of both projections, self first. The rows are independent, so any distribution over the
// threads gives the same bits.
void projectBlock(int32_t block, const float* const* x, int32_t count, float* const* selfProducts,
                  float* const* crossProducts) {
  const bool isSelf = block < kBlocks;
  const int32_t first = (isSelf ? block : block - kBlocks) * kRowsAtOnce;
  const int32_t rows = std::min(kRowsAtOnce, kProjectedFloats - first);
  const float* matrix = (isSelf ? selfProjection : crossProjection) +
                        static_cast<int64_t>(first) * kPatchFeatureFloats;
  float* const* products = isSelf ? selfProducts : crossProducts;
  if (count == 1) {
    activeKernels->projectRows(matrix, rows, kPatchFeatureFloats, x[0], products[0] + first);
    return;
  }
  float* shifted[kProjectedAtOnce];
  for (int32_t i = 0; i < count; ++i) shifted[i] = products[i] + first;
  activeKernels->projectMany(matrix, rows, kPatchFeatureFloats, x, count, shifted);
}

// Elements 500 and 501.
void finishFeature(const float* selfProducts, float* feature) {
  float selfSquares = 0.0f;
  float crossSquares = 0.0f;
  for (int32_t r = 0; r < kProjectedFloats; ++r) {
    selfSquares += selfProducts[r] * selfProducts[r];
    crossSquares += feature[r] * feature[r];
  }
  // Element 501 is a square root and element 500 is not: the score divides by the one and subtracts
  // the other.
  feature[500] = selfSquares;
  feature[501] = roundedSqrt(crossSquares);
}

// At most kProjectedAtOnce faces.
void projectSome(float* patchFeatures, int32_t count, float* const* features) {
  const float* x[kProjectedAtOnce];
  float selfProducts[kProjectedAtOnce][kProjectedFloats];
  float* selfRows[kProjectedAtOnce];
  for (int32_t i = 0; i < count; ++i) {
    float* face = patchFeatures + static_cast<int64_t>(i) * kPatchFeatureFloats;
    for (int32_t k = 0; k < kPatchFeatureFloats; ++k) face[k] = face[k] - featureMean[k];
    x[i] = face;
    selfRows[i] = selfProducts[i];
  }
#pragma omp parallel for schedule(dynamic, 1)
  for (int32_t block = 0; block < 2 * kBlocks; ++block) {
    projectBlock(block, x, count, selfRows, features);
  }
  for (int32_t i = 0; i < count; ++i) finishFeature(selfProducts[i], features[i]);
}

}  // namespace

void ProjectFeature(float* patchFeatures, float* feature) {
  projectSome(patchFeatures, 1, &feature);
}

void ProjectFeatures(float* patchFeatures, int32_t count, float* const* features) {
  for (int32_t first = 0; first < count; first += kProjectedAtOnce) {
    projectSome(patchFeatures + static_cast<int64_t>(first) * kPatchFeatureFloats,
                std::min(kProjectedAtOnce, count - first), features + first);
  }
}

}  // namespace facefeature
