#include "kernels/project_rows.h"

namespace facefeature {

void projectRowsPlain(const float* matrix, int32_t rows, int32_t cols, const float* x,
                      float* products) {
  for (int32_t r = 0; r < rows; ++r) {
    const float* row = matrix + static_cast<int64_t>(r) * cols;
    float sum = 0.0f;
    for (int32_t j = 0; j < cols; ++j) sum += row[j] * x[j];
    products[r] = sum;
  }
}

void projectManyPlain(const float* matrix, int32_t rows, int32_t cols, const float* const* x,
                      int32_t count, float* const* products) {
  for (int32_t i = 0; i < count; ++i) projectRowsPlain(matrix, rows, cols, x[i], products[i]);
}

void projectRowsFast(const float* matrix, int32_t rows, int32_t cols, const float* x,
                     float* products) {
#if defined(__SSE2__) || defined(_M_X64)
  projectRowsSse2(matrix, rows, cols, x, products);
#else
  projectRowsPlain(matrix, rows, cols, x, products);
#endif
}

}  // namespace facefeature
