// Transposition and projection for any x86-64. Their sums round product and sum apart, in floats.
#include <emmintrin.h>

#include "kernels/direct_convolution.h"
#include "kernels/project_rows.h"

#define KERNEL_INLINE static inline __attribute__((always_inline))

namespace facefeature {
namespace {

typedef __m128 Vector;
enum { kLanes = 4 };

KERNEL_INLINE Vector loadVector(const float* from) { return _mm_loadu_ps(from); }
KERNEL_INLINE void storeVector(float* to, Vector v) { _mm_storeu_ps(to, v); }
KERNEL_INLINE Vector broadcast(float value) { return _mm_set1_ps(value); }
KERNEL_INLINE Vector addVectors(Vector a, Vector b) { return _mm_add_ps(a, b); }
KERNEL_INLINE Vector multiplyVectors(Vector a, Vector b) { return _mm_mul_ps(a, b); }
KERNEL_INLINE void prefetchSoon(const void* at) { _mm_prefetch((const char*)at, _MM_HINT_T0); }

// Columns 0 to 3 of 4 rows.
KERNEL_INLINE void loadColumns(const float* rows, int64_t stride, Vector* columns) {
  for (int i = 0; i < 4; ++i) columns[i] = _mm_loadu_ps(rows + i * stride);
  _MM_TRANSPOSE4_PS(columns[0], columns[1], columns[2], columns[3]);
}

#include "kernels/vector_columns.inc"

}  // namespace

void transposeSse2(const float* in, int32_t rows, int32_t columns, float* out) {
  transposeVectors(in, rows, columns, out);
}

void projectManySse2(const float* matrix, int32_t rows, int32_t columns, const float* const* x,
                     int32_t count, float* const* products) {
  projectVectors(matrix, rows, columns, x, count, products);
}

}  // namespace facefeature
