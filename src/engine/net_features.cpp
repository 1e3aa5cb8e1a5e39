#include "engine/net_features.h"

#include <cmath>
#include <initializer_list>

#include "geometry/patch_table.h"

namespace facefeature {
namespace {

constexpr int32_t kRowFloats = 160;

// Squares in float, their sum in double, rounded to float before the root and after it.
double normOf(const float* row) {
  double sum = 0.0;
  for (int32_t k = 0; k < kRowFloats; ++k) {
    const float square = row[k] * row[k];
    sum += static_cast<double>(square);
  }
  const float rounded = static_cast<float>(sum);
  return static_cast<float>(std::sqrt(static_cast<double>(rounded)));
}

void divideRow(const float* row, double norm, float* destination) {
  for (int32_t k = 0; k < kRowFloats; ++k) {
    destination[k] = static_cast<float>(static_cast<double>(row[k]) / norm);
  }
}

}  // namespace

void normalizeRows(const float* output, float* destination) {
  for (const int32_t row : {0, kRowFloats}) {
    divideRow(output + row, normOf(output + row), destination + row);
  }
}

void runNets(ConvNet* const* nets, std::vector<Matrix*>& patchMatrices, float* patchFeatures) {
  // Which net an iteration runs. The results go to the place of the iteration.
  static const int32_t kNetOrder[kPatchCount] = {0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12,
                                                 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24};
#pragma omp parallel for schedule(static)
  for (int32_t i = 0; i < kPatchCount; ++i) {
    ConvNet* net = nets[kNetOrder[i]];
    net->forward(patchMatrices);
    const Matrix* output = net->layers.back()->getActivations();
    normalizeRows(output->buffer, patchFeatures + static_cast<int64_t>(i) * output->size);
  }
}

}  // namespace facefeature
