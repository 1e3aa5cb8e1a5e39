// The kernels for x86-64 with AVX-512 (F). The file is compiled for that instruction set, so it may
// use nothing but plain data, intrinsics and its own functions (vector_product.inc explains why).
#include <immintrin.h>

#include "kernels/direct_convolution.h"
#include "kernels/product.h"
#include "kernels/project_rows.h"

#define KERNEL_INLINE static inline __attribute__((always_inline))

namespace facefeature {
namespace {

typedef __m512 Vector;
enum { kLanes = 16 };

KERNEL_INLINE __mmask16 firstLanes(int count) { return (__mmask16)((1u << count) - 1u); }

KERNEL_INLINE Vector zeroVector() { return _mm512_setzero_ps(); }
KERNEL_INLINE Vector loadVector(const float* from) { return _mm512_loadu_ps(from); }
KERNEL_INLINE void storeVector(float* to, Vector v) { _mm512_storeu_ps(to, v); }
KERNEL_INLINE Vector loadLanes(const float* from, int count) {
  return _mm512_maskz_loadu_ps(firstLanes(count), from);
}
KERNEL_INLINE void storeLanes(float* to, int count, Vector v) {
  _mm512_mask_storeu_ps(to, firstLanes(count), v);
}
KERNEL_INLINE Vector broadcast(float value) { return _mm512_set1_ps(value); }
KERNEL_INLINE Vector multiplyAdd(Vector a, Vector b, Vector sum) {
  return _mm512_fmadd_ps(a, b, sum);
}
KERNEL_INLINE Vector addVectors(Vector a, Vector b) { return _mm512_add_ps(a, b); }
KERNEL_INLINE Vector multiplyVectors(Vector a, Vector b) { return _mm512_mul_ps(a, b); }
// The second operand wins if the first is a NaN or a zero of either sign.
KERNEL_INLINE Vector positivePart(Vector v) { return _mm512_max_ps(v, _mm512_setzero_ps()); }
KERNEL_INLINE Vector maxOfPositive(Vector a, Vector b) { return _mm512_max_ps(a, b); }
KERNEL_INLINE bool hasNaN(Vector v) { return _mm512_cmp_ps_mask(v, v, _CMP_UNORD_Q) != 0; }
KERNEL_INLINE void prefetchSoon(const void* at) { _mm_prefetch((const char*)at, _MM_HINT_T0); }
KERNEL_INLINE void prefetchLater(const void* at) { _mm_prefetch((const char*)at, _MM_HINT_T1); }

// Columns 0 to 15 of 16 rows.
KERNEL_INLINE void loadColumns(const float* rows, int64_t stride, Vector* columns) {
  __m512 r[16], s[16];
#pragma GCC unroll 16
  for (int i = 0; i < 16; ++i) r[i] = _mm512_loadu_ps(rows + i * stride);
#pragma GCC unroll 16
  for (int i = 0; i < 16; i += 2) {
    s[i] = _mm512_unpacklo_ps(r[i], r[i + 1]);
    s[i + 1] = _mm512_unpackhi_ps(r[i], r[i + 1]);
  }
  // Then r[4 g + c] holds column 4 l + c of rows 4 g to 4 g + 3 in its 128-bit part l.
#pragma GCC unroll 16
  for (int i = 0; i < 16; i += 4) {
    const __m512d a = _mm512_castps_pd(s[i]), b = _mm512_castps_pd(s[i + 1]);
    const __m512d c = _mm512_castps_pd(s[i + 2]), d = _mm512_castps_pd(s[i + 3]);
    r[i] = _mm512_castpd_ps(_mm512_unpacklo_pd(a, c));
    r[i + 1] = _mm512_castpd_ps(_mm512_unpackhi_pd(a, c));
    r[i + 2] = _mm512_castpd_ps(_mm512_unpacklo_pd(b, d));
    r[i + 3] = _mm512_castpd_ps(_mm512_unpackhi_pd(b, d));
  }
#pragma GCC unroll 4
  for (int c = 0; c < 4; ++c) {
    const __m512 lowEven = _mm512_shuffle_f32x4(r[c], r[4 + c], 0x88);
    const __m512 lowOdd = _mm512_shuffle_f32x4(r[c], r[4 + c], 0xDD);
    const __m512 highEven = _mm512_shuffle_f32x4(r[8 + c], r[12 + c], 0x88);
    const __m512 highOdd = _mm512_shuffle_f32x4(r[8 + c], r[12 + c], 0xDD);
    columns[c] = _mm512_shuffle_f32x4(lowEven, highEven, 0x88);
    columns[4 + c] = _mm512_shuffle_f32x4(lowOdd, highOdd, 0x88);
    columns[8 + c] = _mm512_shuffle_f32x4(lowEven, highEven, 0xDD);
    columns[12 + c] = _mm512_shuffle_f32x4(lowOdd, highOdd, 0xDD);
  }
}

// 32 registers, 20 of them for sums: two rows of 160 columns, or four rows of 80.
enum { kTileRows = 4, kTileVectors = 5, kPairVectors = 10, kProductAhead = 1024 };

// Tiles of the direct convolutions, as large as the registers allow while the weights stay in the
// first-level cache, and the number of lines to prefetch with each channel.
struct Tiles {
  enum { kSamples1 = 2, kColumns1 = 4, kVectors1 = 1, kLines1 = 6 };
  enum { kColumns2 = 4, kVectors2 = 2, kLines2 = 5 };
  enum { kColumns3 = 8, kVectors3 = 1, kLines3 = 7 };
  enum { kSamples4 = 2, kSamples4Even = 1, kVectors4 = 4, kLines4 = 7 };
};

#include "kernels/vector_product.inc"

#include "kernels/vector_convolution.inc"

#include "kernels/vector_columns.inc"

}  // namespace

void productAvx512(const Product& product) { productOfVectors(product); }

void convolveDirectAvx512(int32_t shape, const DirectConvolution& task) {
  convolveVectors<Tiles>(shape, task);
}

void transposeAvx512(const float* in, int32_t rows, int32_t columns, float* out) {
  transposeVectors(in, rows, columns, out);
}

void projectManyAvx512(const float* matrix, int32_t rows, int32_t columns, const float* const* x,
                       int32_t count, float* const* products) {
  projectVectors(matrix, rows, columns, x, count, products);
}

}  // namespace facefeature
