#include "kernels/multiply.h"

#include <algorithm>

#include "kernels/blas.h"
#include "kernels/kernel_set.h"

namespace facefeature {
namespace {

// The package refuses a leading dimension of 0, which a matrix without columns has.
int32_t leadingDimension(const Matrix& matrix) { return std::max(matrix.leadingDimension(), 1); }

CBLAS_TRANSPOSE transposeFlag(const Matrix& matrix) {
  return static_cast<CBLAS_TRANSPOSE>(matrix.order);
}

}  // namespace

void multiply(const Matrix& a, const Matrix& b, int32_t m, int32_t n, int32_t k, float alpha,
              float beta, float* c, int32_t ldc) {
  if (m < 1 || n < 1) return;
  cblas_sgemm(CblasRowMajor, transposeFlag(a), transposeFlag(b), m, n, k, alpha, a.buffer,
              leadingDimension(a), b.buffer, leadingDimension(b), beta, c, ldc);
}

// Iterates like Matrix::addBroadcast and stops at the end of the memory.
void addBiases(const Matrix& biases, int64_t room, Matrix& target) {
  const bool isRow = biases.rows == 1;
  const int64_t lines = isRow ? target.rows : target.cols;
  const int64_t step = isRow ? target.cols : 1;
  const int64_t increment = isRow ? 1 : target.cols;
  if (biases.size < 1 || lines < 1) return;
  if ((lines - 1) * step + (biases.size - 1) * increment < room) {
    if (!isRow && biases.size == target.rows) {
      activeKernels->addPlaneBiases(biases.buffer, target.rows, target.cols, target.buffer);
    } else {
      target.addBroadcast(biases, 1.0f, target);
    }
    return;
  }
  for (int64_t i = 0; i < lines && i * step < room; ++i) {
    const int64_t fitting = (room - i * step - 1) / increment + 1;
    cblas_saxpy(static_cast<int32_t>(std::min<int64_t>(biases.size, fitting)), 1.0f, biases.buffer,
                1, target.buffer + i * step, static_cast<int32_t>(increment));
  }
}

void addPlaneBiasesPlain(const float* biases, int32_t planes, int32_t count, float* out) {
  for (int32_t position = 0; position < count; ++position) {
    cblas_saxpy(planes, 1.0f, biases, 1, out + position, count);
  }
}

// With a factor of 1 the product is exact, so a saxpy adds in one rounding, fused or not.
void addPlaneBiasesFast(const float* biases, int32_t planes, int32_t count, float* out) {
  for (int32_t f = 0; f < planes; ++f) {
    float* plane = out + static_cast<int64_t>(f) * count;
    for (int32_t position = 0; position < count; ++position) plane[position] += biases[f];
  }
}

}  // namespace facefeature
