// Oracle of matrix products.
#ifndef FACEFEATURE_TESTS_SUPPORT_REFERENCE_PRODUCT_H
#define FACEFEATURE_TESTS_SUPPORT_REFERENCE_PRODUCT_H

#include <cstdint>

namespace reference {

// c = a b + beta c, all row by row and without gaps: a is m x k, b is k x n. Each element is summed
// from +0 by fused steps, k ascending, and is then stored (beta 0) or added to c (beta 1).
void matrixProduct(int32_t m, int32_t n, int32_t k, const float* a, const float* b, float beta,
                   float* c);

}  // namespace reference

#endif
