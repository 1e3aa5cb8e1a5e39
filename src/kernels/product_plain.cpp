#include "kernels/fused_multiply_add.h"
#include "kernels/product.h"

namespace facefeature {

float productSumPlain(const Product& product, int32_t row, int32_t column) {
  const float* a = product.a + row * product.aRow;
  const float* b = product.b + column * product.bColumn;
  float sum = 0.0f;
  for (int32_t k = 0; k < product.terms; ++k) {
    sum = fusedMultiplyAdd(a[k * product.aTerm], b[k * product.bTerm], sum);
  }
  return sum;
}

// productSumPlain for all rows and columns. The chains of a row advance side by side, because a
// step of one chain waits for the step before it.
void productPlain(const Product& product) {
  for (int32_t i = 0; i < product.rows; ++i) {
    const float* a = product.a + i * product.aRow;
    float* sums = product.sums + i * product.sumsRow;
    for (int32_t j = 0; j < product.columns; ++j) sums[j] = 0.0f;
    for (int32_t k = 0; k < product.terms; ++k) {
      const float factor = a[k * product.aTerm];
      const float* b = product.b + k * product.bTerm;
      for (int32_t j = 0; j < product.columns; ++j) {
        sums[j] = fusedMultiplyAdd(factor, b[j * product.bColumn], sums[j]);
      }
    }
  }
}

}  // namespace facefeature
