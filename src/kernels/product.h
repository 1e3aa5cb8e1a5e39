// The sums of a matrix product, which take most of its time.
#ifndef FACEFEATURE_KERNELS_PRODUCT_H
#define FACEFEATURE_KERNELS_PRODUCT_H

#include <cstdint>

namespace facefeature {

// sums(i, j) = the sum over k of a(i, k) * b(k, j), for rows x columns sums of length terms each.
// Element (i, k) of a is a[i * aRow + k * aTerm], element (k, j) of b is b[k * bTerm + j *
// bColumn], and sum (i, j) goes to sums[i * sumsRow + j]. All steps count floats. The sums must not
// overlap a or b; what is in them before is not read.
struct Product {
  int32_t rows;
  int32_t columns;
  int32_t terms;
  const float* a;
  int64_t aRow;
  int64_t aTerm;
  const float* b;
  int64_t bTerm;
  int64_t bColumn;
  float* sums;
  int64_t sumsRow;
};

// The definition of a sum: one chain of fused multiply-adds, k ascending, from +0
// (kernels/fused_multiply_add.h).
float productSumPlain(const Product& product, int32_t row, int32_t column);

// All sums. The variants (kernels/kernel_set.h) give the same bits, those of a NaN included: they
// work on several sums side by side and never split one. A variant whose processor has other rules
// for NaNs computes a sum that ends as a NaN again by productSumPlain.
void productPlain(const Product& product);
void productSse2(const Product& product);
void productAvx2(const Product& product);
void productAvx512(const Product& product);
void productNeon(const Product& product);

}  // namespace facefeature

#endif
