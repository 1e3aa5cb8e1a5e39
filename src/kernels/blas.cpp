#include "kernels/blas.h"

#include <algorithm>

#include "kernels/kernel_set.h"
#include "kernels/product.h"

namespace facefeature {
namespace {

// Sums that are not stored to C directly pass through a panel on the stack.
constexpr int32_t kPanelRows = 32;
constexpr int32_t kPanelColumns = 160;

Product productOf(CBLAS_TRANSPOSE transA, CBLAS_TRANSPOSE transB, int32_t m, int32_t n, int32_t k,
                  const float* a, int32_t lda, const float* b, int32_t ldb) {
  Product product;
  product.rows = m;
  product.columns = n;
  product.terms = k;
  product.a = a;
  product.aRow = transA == CblasTrans ? 1 : lda;
  product.aTerm = transA == CblasTrans ? lda : 1;
  product.b = b;
  product.bTerm = transB == CblasTrans ? 1 : ldb;
  product.bColumn = transB == CblasTrans ? ldb : 1;
  product.sums = nullptr;
  product.sumsRow = 0;
  return product;
}

// The part of a product that begins at a row and a column.
Product partOf(const Product& product, int32_t row, int32_t column, int32_t rows, int32_t columns) {
  Product part = product;
  part.rows = rows;
  part.columns = columns;
  part.a += row * product.aRow;
  part.b += column * product.bColumn;
  return part;
}

// Finishes one row: the sums are complete, and each following step rounds.
void storeSums(const float* sums, int32_t columns, float alpha, float beta, float* c) {
  for (int32_t j = 0; j < columns; ++j) {
    const float scaled = alpha == 1.0f ? sums[j] : alpha * sums[j];
    if (beta == 0.0f) {
      c[j] = scaled;
    } else {
      const float kept = beta == 1.0f ? c[j] : beta * c[j];
      c[j] = kept + scaled;
    }
  }
}

}  // namespace

void cblas_sgemm(CBLAS_ORDER /*order*/, CBLAS_TRANSPOSE transA, CBLAS_TRANSPOSE transB, int32_t m,
                 int32_t n, int32_t k, float alpha, const float* a, int32_t lda, const float* b,
                 int32_t ldb, float beta, float* c, int32_t ldc) {
  if (m < 1 || n < 1) return;
  Product product = productOf(transA, transB, m, n, k, a, lda, b, ldb);
  if (alpha == 1.0f && beta == 0.0f) {
    product.sums = c;
    product.sumsRow = ldc;
    activeKernels->product(product);
    return;
  }
  float sums[kPanelRows * kPanelColumns];
  for (int32_t i = 0; i < m; i += kPanelRows) {
    const int32_t rows = std::min(kPanelRows, m - i);
    for (int32_t j = 0; j < n; j += kPanelColumns) {
      const int32_t columns = std::min(kPanelColumns, n - j);
      Product part = partOf(product, i, j, rows, columns);
      part.sums = sums;
      part.sumsRow = columns;
      activeKernels->product(part);
      for (int32_t r = 0; r < rows; ++r) {
        storeSums(sums + static_cast<int64_t>(r) * columns, columns, alpha, beta,
                  c + static_cast<int64_t>(i + r) * ldc + j);
      }
    }
  }
}

void cblas_saxpy(int32_t n, float alpha, const float* x, int32_t incx, float* y, int32_t incy) {
  for (int64_t i = 0; i < n; ++i) {
    const float product = alpha * x[i * incx];
    y[i * incy] = y[i * incy] + product;
  }
}

void cblas_sscal(int32_t n, float alpha, float* x, int32_t incx) {
  for (int64_t i = 0; i < n; ++i) x[i * incx] = alpha * x[i * incx];
}

}  // namespace facefeature
