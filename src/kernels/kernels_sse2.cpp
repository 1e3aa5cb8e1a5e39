// The kernels for any x86-64, which has SSE2 and no fused multiply-add. Doubles give its bits: the
// same steps as kernels/fused_multiply_add.h, two lanes at a time.
#include <emmintrin.h>

#include "kernels/direct_convolution.h"
#include "kernels/product.h"
#include "kernels/project_rows.h"

#define KERNEL_INLINE static inline __attribute__((always_inline))

namespace facefeature {
namespace {

typedef __m128 Vector;
enum { kLanes = 4 };

KERNEL_INLINE Vector zeroVector() { return _mm_setzero_ps(); }
KERNEL_INLINE Vector loadVector(const float* from) { return _mm_loadu_ps(from); }
KERNEL_INLINE void storeVector(float* to, Vector v) { _mm_storeu_ps(to, v); }
KERNEL_INLINE Vector loadLanes(const float* from, int count) {
  float lanes[kLanes] = {0.0f, 0.0f, 0.0f, 0.0f};
  for (int i = 0; i < count; ++i) lanes[i] = from[i];
  return _mm_loadu_ps(lanes);
}
KERNEL_INLINE void storeLanes(float* to, int count, Vector v) {
  float lanes[kLanes];
  _mm_storeu_ps(lanes, v);
  for (int i = 0; i < count; ++i) to[i] = lanes[i];
}
KERNEL_INLINE Vector broadcast(float value) { return _mm_set1_ps(value); }
KERNEL_INLINE Vector addVectors(Vector a, Vector b) { return _mm_add_ps(a, b); }
KERNEL_INLINE Vector multiplyVectors(Vector a, Vector b) { return _mm_mul_ps(a, b); }
// The second operand wins if the first is a NaN or a zero of either sign.
KERNEL_INLINE Vector positivePart(Vector v) { return _mm_max_ps(v, _mm_setzero_ps()); }
KERNEL_INLINE Vector maxOfPositive(Vector a, Vector b) { return _mm_max_ps(a, b); }
KERNEL_INLINE bool hasNaN(Vector v) { return _mm_movemask_ps(_mm_cmpunord_ps(v, v)) != 0; }
KERNEL_INLINE void prefetchSoon(const void* at) { _mm_prefetch((const char*)at, _MM_HINT_T0); }
KERNEL_INLINE void prefetchLater(const void* at) { _mm_prefetch((const char*)at, _MM_HINT_T1); }

// product + addend, truncated, with the last bit set if anything was cut off.
KERNEL_INLINE __m128d sumRoundedToOdd(__m128d product, __m128d addend) {
  const __m128d sum = _mm_add_pd(product, addend);
  const __m128d addendPart = _mm_sub_pd(sum, product);
  const __m128d error =
      _mm_add_pd(_mm_sub_pd(product, _mm_sub_pd(sum, addendPart)), _mm_sub_pd(addend, addendPart));
  // False for a NaN, which is the error of an infinite sum.
  const __m128d zero = _mm_setzero_pd();
  const __m128d isInexact = _mm_or_pd(_mm_cmplt_pd(error, zero), _mm_cmplt_pd(zero, error));
  const __m128d awayFromZero = _mm_and_pd(isInexact, _mm_xor_pd(error, sum));
  const __m128i one = _mm_srli_epi64(_mm_castpd_si128(isInexact), 63);
  const __m128i step = _mm_srli_epi64(_mm_castpd_si128(awayFromZero), 63);
  return _mm_castsi128_pd(_mm_or_si128(_mm_sub_epi64(_mm_castpd_si128(sum), step), one));
}

// Not inlined: few steps need it.
__attribute__((noinline)) Vector multiplyAddOnce(Vector a, Vector b, Vector sum) {
  const __m128d low =
      sumRoundedToOdd(_mm_mul_pd(_mm_cvtps_pd(a), _mm_cvtps_pd(b)), _mm_cvtps_pd(sum));
  const __m128d high = sumRoundedToOdd(
      _mm_mul_pd(_mm_cvtps_pd(_mm_movehl_ps(a, a)), _mm_cvtps_pd(_mm_movehl_ps(b, b))),
      _mm_cvtps_pd(_mm_movehl_ps(sum, sum)));
  return _mm_movelh_ps(_mm_cvtpd_ps(low), _mm_cvtpd_ps(high));
}

// Whether rounding four sums in double to the floats of result may have been a second rounding: a
// sum is halfway between two floats, or a float is 0, subnormal or the smallest normal one. That
// includes sums that are exactly 0, which few steps of a chain have.
KERNEL_INLINE bool mayRoundTwice(__m128d low, __m128d high, Vector result) {
  const __m128i lastBits =
      _mm_castps_si128(_mm_shuffle_ps(_mm_castpd_ps(low), _mm_castpd_ps(high), 0x88));
  const __m128i isHalfway =
      _mm_cmpeq_epi32(_mm_slli_epi32(lastBits, 3), _mm_set1_epi32((int)0x80000000u));
  const __m128i magnitude = _mm_and_si128(_mm_castps_si128(result), _mm_set1_epi32(0x7FFFFFFF));
  const __m128i isSmall = _mm_cmplt_epi32(magnitude, _mm_set1_epi32(0x00800001));
  return __builtin_expect(_mm_movemask_epi8(_mm_or_si128(isHalfway, isSmall)) != 0, 0);
}

KERNEL_INLINE Vector multiplyAdd(Vector a, Vector b, Vector sum) {
  const __m128d low = _mm_add_pd(_mm_mul_pd(_mm_cvtps_pd(a), _mm_cvtps_pd(b)), _mm_cvtps_pd(sum));
  const __m128d high =
      _mm_add_pd(_mm_mul_pd(_mm_cvtps_pd(_mm_movehl_ps(a, a)), _mm_cvtps_pd(_mm_movehl_ps(b, b))),
                 _mm_cvtps_pd(_mm_movehl_ps(sum, sum)));
  const Vector result = _mm_movelh_ps(_mm_cvtpd_ps(low), _mm_cvtpd_ps(high));
  return mayRoundTwice(low, high, result) ? multiplyAddOnce(a, b, sum) : result;
}

// Columns 0 to 3 of 4 rows.
KERNEL_INLINE void loadColumns(const float* rows, int64_t stride, Vector* columns) {
  for (int i = 0; i < 4; ++i) columns[i] = _mm_loadu_ps(rows + i * stride);
  _MM_TRANSPOSE4_PS(columns[0], columns[1], columns[2], columns[3]);
}

// A step takes about thirty instructions, so larger tiles would gain nothing.
enum { kTileRows = 2, kTileVectors = 1, kPairVectors = 1, kProductAhead = 5120 };

struct Tiles {
  enum { kSamples1 = 1, kColumns1 = 2, kVectors1 = 1, kLines1 = 0 };
  enum { kColumns2 = 2, kVectors2 = 1, kLines2 = 0 };
  enum { kColumns3 = 2, kVectors3 = 1, kLines3 = 0 };
  enum { kSamples4 = 1, kSamples4Even = 1, kVectors4 = 1, kLines4 = 0 };
};

#include "kernels/vector_product.inc"

#include "kernels/vector_convolution.inc"

#include "kernels/vector_columns.inc"

}  // namespace

void productSse2(const Product& product) { productOfVectors(product); }

void convolveDirectSse2(int32_t shape, const DirectConvolution& task) {
  convolveVectors<Tiles>(shape, task);
}

void transposeSse2(const float* in, int32_t rows, int32_t columns, float* out) {
  transposeVectors(in, rows, columns, out);
}

void projectManySse2(const float* matrix, int32_t rows, int32_t columns, const float* const* x,
                     int32_t count, float* const* products) {
  projectVectors(matrix, rows, columns, x, count, products);
}

}  // namespace facefeature
