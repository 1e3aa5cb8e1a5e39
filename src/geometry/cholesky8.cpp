#include "geometry/cholesky8.h"

#include <limits>

#include "kernels/rounded_math.h"

namespace facefeature {
namespace {

constexpr int32_t kSize = 8;

}  // namespace

int32_t SolveCholesky8(float* matrix, float* rightSide) {
  float* A[kSize];  // the rows
  for (int32_t i = 0; i < kSize; ++i) A[i] = matrix + i * kSize;
  float* b = rightSide;
  for (int32_t i = 0; i < kSize; ++i) {
    for (int32_t j = 0; j < i; ++j) {
      float value = A[i][j];
      for (int32_t k = 0; k < j; ++k) value -= A[j][k] * A[i][k];
      A[i][j] = value * A[j][j];
    }
    float pivot = A[i][i];
    for (int32_t k = 0; k < i; ++k) pivot -= A[i][k] * A[i][k];
    // Written so that a NaN continues: it is not a small pivot.
    if (std::numeric_limits<float>::min() > pivot) return 0;
    // Stores the reciprocal, so that the solution multiplies instead of dividing.
    A[i][i] = 1.0f / roundedSqrt(pivot);
  }
  if (b == nullptr) return 1;
  for (int32_t i = 0; i < kSize; ++i) {
    float value = b[i];
    for (int32_t k = 0; k < i; ++k) value -= b[k] * A[i][k];
    b[i] = value * A[i][i];
  }
  for (int32_t i = kSize - 1; i >= 0; --i) {
    float value = b[i];
    for (int32_t k = kSize - 1; k > i; --k) value -= A[k][i] * b[k];
    b[i] = value * A[i][i];
  }
  return 1;
}

}  // namespace facefeature
