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

void productPlain(const Product& product) {
  for (int32_t i = 0; i < product.rows; ++i) {
    for (int32_t j = 0; j < product.columns; ++j) {
      product.sums[i * product.sumsRow + j] = productSumPlain(product, i, j);
    }
  }
}

}  // namespace facefeature
