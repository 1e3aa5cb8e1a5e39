// The kernels for x86-64 with AVX2 and FMA. The file is compiled for these instruction sets, so it
// may use nothing but plain data, intrinsics and its own functions (vector_product.inc explains
// why).
#include <immintrin.h>

#include "kernels/direct_convolution.h"
#include "kernels/product.h"
#include "kernels/project_rows.h"

#define KERNEL_INLINE static inline __attribute__((always_inline))

namespace facefeature {
namespace {

typedef __m256 Vector;
enum { kLanes = 8 };

KERNEL_INLINE __m256i firstLanes(int count) {
  return _mm256_cmpgt_epi32(_mm256_set1_epi32(count), _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7));
}

KERNEL_INLINE Vector zeroVector() { return _mm256_setzero_ps(); }
KERNEL_INLINE Vector loadVector(const float* from) { return _mm256_loadu_ps(from); }
KERNEL_INLINE void storeVector(float* to, Vector v) { _mm256_storeu_ps(to, v); }
KERNEL_INLINE Vector loadLanes(const float* from, int count) {
  return _mm256_maskload_ps(from, firstLanes(count));
}
KERNEL_INLINE void storeLanes(float* to, int count, Vector v) {
  _mm256_maskstore_ps(to, firstLanes(count), v);
}
KERNEL_INLINE Vector broadcast(float value) { return _mm256_set1_ps(value); }
KERNEL_INLINE Vector multiplyAdd(Vector a, Vector b, Vector sum) {
  return _mm256_fmadd_ps(a, b, sum);
}
KERNEL_INLINE Vector addVectors(Vector a, Vector b) { return _mm256_add_ps(a, b); }
KERNEL_INLINE Vector multiplyVectors(Vector a, Vector b) { return _mm256_mul_ps(a, b); }
// The second operand wins if the first is a NaN or a zero of either sign.
KERNEL_INLINE Vector positivePart(Vector v) { return _mm256_max_ps(v, _mm256_setzero_ps()); }
KERNEL_INLINE Vector maxOfPositive(Vector a, Vector b) { return _mm256_max_ps(a, b); }
KERNEL_INLINE bool hasNaN(Vector v) {
  return _mm256_movemask_ps(_mm256_cmp_ps(v, v, _CMP_UNORD_Q)) != 0;
}
KERNEL_INLINE void prefetchSoon(const void* at) { _mm_prefetch((const char*)at, _MM_HINT_T0); }
KERNEL_INLINE void prefetchLater(const void* at) { _mm_prefetch((const char*)at, _MM_HINT_T1); }

// Columns 0 to 7 of 8 rows.
KERNEL_INLINE void loadColumns(const float* rows, int64_t stride, Vector* columns) {
  __m256 r[8], s[8];
#pragma GCC unroll 8
  for (int i = 0; i < 8; ++i) r[i] = _mm256_loadu_ps(rows + i * stride);
#pragma GCC unroll 8
  for (int i = 0; i < 8; i += 2) {
    s[i] = _mm256_unpacklo_ps(r[i], r[i + 1]);
    s[i + 1] = _mm256_unpackhi_ps(r[i], r[i + 1]);
  }
#pragma GCC unroll 8
  for (int i = 0; i < 8; i += 4) {
    r[i] = _mm256_shuffle_ps(s[i], s[i + 2], 0x44);
    r[i + 1] = _mm256_shuffle_ps(s[i], s[i + 2], 0xEE);
    r[i + 2] = _mm256_shuffle_ps(s[i + 1], s[i + 3], 0x44);
    r[i + 3] = _mm256_shuffle_ps(s[i + 1], s[i + 3], 0xEE);
  }
#pragma GCC unroll 4
  for (int c = 0; c < 4; ++c) {
    columns[c] = _mm256_permute2f128_ps(r[c], r[4 + c], 0x20);
    columns[4 + c] = _mm256_permute2f128_ps(r[c], r[4 + c], 0x31);
  }
}

// 16 registers, ten of them for sums.
enum { kTileRows = 2, kTileVectors = 5, kPairVectors = 5, kProductAhead = 5120 };

// Tiles of the direct convolutions, as large as the registers allow while the weights stay in the
// first-level cache, and the number of lines to prefetch with each channel.
struct Tiles {
  enum { kSamples1 = 1, kColumns1 = 2, kVectors1 = 2, kLines1 = 2 };
  enum { kColumns2 = 2, kVectors2 = 2, kLines2 = 1 };
  enum { kColumns3 = 2, kVectors3 = 3, kLines3 = 2 };
  enum { kSamples4 = 1, kSamples4Even = 1, kVectors4 = 2, kLines4 = 2 };
};

#include "kernels/vector_product.inc"

#include "kernels/vector_convolution.inc"

#include "kernels/vector_columns.inc"

}  // namespace

void productAvx2(const Product& product) { productOfVectors(product); }

void convolveDirectAvx2(int32_t shape, const DirectConvolution& task) {
  convolveVectors<Tiles>(shape, task);
}

void transposeAvx2(const float* in, int32_t rows, int32_t columns, float* out) {
  transposeVectors(in, rows, columns, out);
}

void projectManyAvx2(const float* matrix, int32_t rows, int32_t columns, const float* const* x,
                     int32_t count, float* const* products) {
  projectVectors(matrix, rows, columns, x, count, products);
}

}  // namespace facefeature
