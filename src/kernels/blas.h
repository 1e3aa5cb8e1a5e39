// The three CBLAS routines that the system calls, with their usual arguments. The library provides
// them itself, because the order of every sum is part of a feature: they give the same bits on
// every processor and for every number of rows, and run on the calling thread without a lock.
//
// None of them validates its arguments. Sizes below 1 do nothing.
#ifndef FACEFEATURE_KERNELS_BLAS_H
#define FACEFEATURE_KERNELS_BLAS_H

#include <cstdint>

namespace facefeature {

// The values of CBLAS. Matrix::order is passed as a CBLAS_TRANSPOSE.
enum CBLAS_ORDER { CblasRowMajor = 101 };
enum CBLAS_TRANSPOSE { CblasNoTrans = 111, CblasTrans = 112 };

// C = alpha * op(A) * op(B) + beta * C, with op(A) m x k, op(B) k x n and C m x n. lda, ldb and ldc
// are the floats from line to line as the matrices are stored; any transpose flag but CblasTrans
// leaves its matrix as it is stored.
//
// Each element is one chain of fused multiply-adds, k ascending, from +0 (kernels/product.h). Then
// alpha multiplies the chain, unless it is 1, and beta decides: 0 stores the result without reading
// C, 1 adds it to C, and any other value multiplies C first. Each of these steps rounds.
// REQUIRES: C overlaps neither A nor B.
void cblas_sgemm(CBLAS_ORDER order, CBLAS_TRANSPOSE transA, CBLAS_TRANSPOSE transB, int32_t m,
                 int32_t n, int32_t k, float alpha, const float* a, int32_t lda, const float* b,
                 int32_t ldb, float beta, float* c, int32_t ldc);

// y[i * incy] += alpha * x[i * incx] for i from 0 to n - 1: the product is rounded, then the sum.
// REQUIRES: the increments are positive, and x and y are the same elements or do not overlap.
void cblas_saxpy(int32_t n, float alpha, const float* x, int32_t incx, float* y, int32_t incy);

// x[i * incx] *= alpha for i from 0 to n - 1. Nothing is special about 0: 0 times NaN is NaN.
// REQUIRES: the increment is positive.
void cblas_sscal(int32_t n, float alpha, float* x, int32_t incx);

}  // namespace facefeature

#endif
