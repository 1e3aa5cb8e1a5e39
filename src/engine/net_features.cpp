#include "engine/net_features.h"

#include <exception>
#include <initializer_list>
#include <stdexcept>

#include "engine/model_state.h"
#include "geometry/patch_table.h"
#include "kernels/rounded_math.h"

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
  return roundedSqrt(static_cast<float>(sum));
}

void divideRow(const float* row, double norm, float* destination) {
  for (int32_t k = 0; k < kRowFloats; ++k) {
    destination[k] = static_cast<float>(static_cast<double>(row[k]) / norm);
  }
}

const Matrix& outputOf(const ConvNet& net) {
  return *net.layers.at(net.layers.size() - 1)->getActivations();
}

// If the files had another width than the nets, they would be read past their end or written into
// the slots of another thread.
void requireOutput(const Matrix& output, int32_t faces) {
  if (output.size != 2 * faces * kRowFloats) {
    throw std::out_of_range("a net with an output of another width");
  }
}

// Net indices in descending order of work: the two of 55 pixels first, then colour before gray.
// Threads take nets one by one, so the last ones taken are the shortest.
constexpr int32_t kNetsByWork[kPatchCount] = {0, 1, 2, 4, 7,  10, 13, 16, 18, 20, 22, 24, 3,
                                              5, 6, 8, 9, 11, 12, 14, 15, 17, 19, 21, 23};

void runNet(ConvNet* const* nets, int32_t net, std::vector<Matrix*>& patchMatrices, int32_t faces,
            float* patchFeatures) {
  nets[net]->forward(patchMatrices);
  const Matrix& output = outputOf(*nets[net]);
  requireOutput(output, faces);
  for (int64_t face = 0; face < faces; ++face) {
    normalizeRows(output.buffer + face * 2 * kRowFloats,
                  patchFeatures + face * kPatchFeatureFloats + net * 2 * kRowFloats);
  }
}

}  // namespace

void normalizeRows(const float* output, float* destination) {
  for (const int32_t row : {0, kRowFloats}) {
    divideRow(output + row, normOf(output + row), destination + row);
  }
}

void runNets(ConvNet* const* nets, std::vector<Matrix*>& patchMatrices, float* patchFeatures) {
#pragma omp parallel for schedule(dynamic, 1)
  for (int32_t i = 0; i < kPatchCount; ++i) {
    runNet(nets, kNetsByWork[i], patchMatrices, 1, patchFeatures);
  }
}

void runNetsOnFaces(ConvNet* const* nets, std::vector<Matrix*>& patchMatrices, int32_t faces,
                    float* patchFeatures) {
  // An exception must not leave the loop. Each net has a place of its own, so that none is locked.
  std::exception_ptr failures[kPatchCount];
#pragma omp parallel for schedule(dynamic, 1)
  for (int32_t i = 0; i < kPatchCount; ++i) {
    const int32_t net = kNetsByWork[i];
    try {
      runNet(nets, net, patchMatrices, faces, patchFeatures);
    } catch (...) {
      failures[net] = std::current_exception();
    }
  }
  for (const std::exception_ptr& failure : failures) {
    if (failure != nullptr) std::rethrow_exception(failure);
  }
}

}  // namespace facefeature
