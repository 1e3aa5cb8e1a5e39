// The products of many rows with one vector.
#ifndef FACEFEATURE_KERNELS_PROJECT_ROWS_H
#define FACEFEATURE_KERNELS_PROJECT_ROWS_H

#include <cstdint>

namespace facefeature {

// products[r] = the sum over j of matrix[r * cols + j] * x[j], in ascending j, in single precision
// from 0, each product rounded and then each sum. The variants are bit-identical: the fast ones
// work on several rows in parallel, one lane for each row, and never split a sum.
void projectRowsPlain(const float* matrix, int32_t rows, int32_t cols, const float* x,
                      float* products);
void projectRowsFast(const float* matrix, int32_t rows, int32_t cols, const float* x,
                     float* products);

// projectRowsFast on x86-64; not defined elsewhere.
void projectRowsSse2(const float* matrix, int32_t rows, int32_t cols, const float* x,
                     float* products);

// The same for count vectors: products[i][r] belongs to x[i]. Each float of the matrix is read once
// for all of up to kProjectedAtOnce vectors.
constexpr int32_t kProjectedAtOnce = 16;
void projectManyPlain(const float* matrix, int32_t rows, int32_t cols, const float* const* x,
                      int32_t count, float* const* products);
void projectManySse2(const float* matrix, int32_t rows, int32_t cols, const float* const* x,
                     int32_t count, float* const* products);
void projectManyAvx2(const float* matrix, int32_t rows, int32_t cols, const float* const* x,
                     int32_t count, float* const* products);
void projectManyAvx512(const float* matrix, int32_t rows, int32_t cols, const float* const* x,
                       int32_t count, float* const* products);
void projectManyNeon(const float* matrix, int32_t rows, int32_t cols, const float* const* x,
                     int32_t count, float* const* products);

}  // namespace facefeature

#endif
