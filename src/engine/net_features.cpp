#include "engine/net_features.h"

#include <omp.h>

#include <initializer_list>
#include <stdexcept>

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

// Where the rows of iteration i go: its index times the size of its output. Files of another width
// than the nets' would be read past their end, or written into the places of another thread.
float* destinationOf(int32_t i, const Matrix& output, float* patchFeatures) {
  if (output.size != 2 * kRowFloats) {
    throw std::out_of_range("a net with an output of another width");
  }
  return patchFeatures + static_cast<int64_t>(i) * output.size;
}

}  // namespace

void normalizeRows(const float* output, float* destination) {
  for (const int32_t row : {0, kRowFloats}) {
    divideRow(output + row, normOf(output + row), destination + row);
  }
}

void runNets(ConvNet* const* nets, std::vector<Matrix*>& patchMatrices, float* patchFeatures) {
  // Which net an iteration runs; results go to the place of the iteration. Another order here would
  // spread the work over the threads in another way and leave the feature as it is.
  static const int32_t kNetOrder[kPatchCount] = {0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12,
                                                 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24};
#pragma omp parallel for schedule(static)
  for (int32_t i = 0; i < kPatchCount; ++i) {
    // Holds for this thread's task and is gone with the region: neither the size of the team nor
    // the host's setting changes. In a team of one the runtime does not report a parallel region,
    // and the BLAS would wait for threads that are never started (OMP_THREAD_LIMIT=1 and its like).
    omp_set_num_threads(1);
    ConvNet* net = nets[kNetOrder[i]];
    net->forward(patchMatrices);
    normalizeRows(outputOf(*net).buffer, destinationOf(i, outputOf(*net), patchFeatures));
  }
}

}  // namespace facefeature
