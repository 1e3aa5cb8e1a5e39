// The products and convolutions for any x86-64, which has SSE2 and no fused multiply-add. Doubles
// give its bits, as in kernels/fused_multiply_add.h: the product of two floats is exact in double,
// and rounding a sum to double first changes the float only in rare cases. A block of steps is
// computed as if none of these cases occurred, while each step leaves a trace of them. A block with
// such a trace is computed again with exact steps.
#include <emmintrin.h>

#include <cstring>

#include "kernels/direct_convolution.h"
#include "kernels/product.h"

#define KERNEL_INLINE static inline __attribute__((always_inline))

namespace facefeature {
namespace {

constexpr int kLanes = 4, kMostChains = 4, kMostSteps = 16;

// Four floats, each as the double of the same value.
struct Vector {
  __m128d low;
  __m128d high;
};

KERNEL_INLINE Vector widened(__m128 v) {
  return {_mm_cvtps_pd(v), _mm_cvtps_pd(_mm_movehl_ps(v, v))};
}
KERNEL_INLINE __m128 rounded(Vector v) {
  return _mm_movelh_ps(_mm_cvtpd_ps(v.low), _mm_cvtpd_ps(v.high));
}

// Some steps of up to four sets of four chains. Chain set c adds a[c][offsets[k]] * b[k * bStep +
// l] in step k to its lane l.
struct Steps {
  int32_t count;  // at most kMostSteps
  const float* a[kMostChains];
  const int64_t* offsets;
  const float* b;
  int64_t bStep;
};

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

__attribute__((noinline)) void advanceExactly(const Steps& steps, int chains, Vector* sums) {
  for (int32_t k = 0; k < steps.count; ++k) {
    const Vector b = widened(_mm_loadu_ps(steps.b + k * steps.bStep));
    for (int c = 0; c < chains; ++c) {
      const __m128d a = _mm_cvtps_pd(_mm_set1_ps(steps.a[c][steps.offsets[k]]));
      const Vector odd = {sumRoundedToOdd(_mm_mul_pd(a, b.low), sums[c].low),
                          sumRoundedToOdd(_mm_mul_pd(a, b.high), sums[c].high)};
      sums[c] = widened(rounded(odd));
    }
  }
}

// What steps leave of the sums that may have been rounded twice. Only the upper 16 bits of each
// lane count, because SSE2 has no minimum of 32 bits.
struct Trace {
  // The smallest of the bits that a float cuts off. -0x8000 may be a sum between two floats.
  __m128i halfway;
  // The smallest exponent and first bits of a sum that is not 0, less 0x8000.
  __m128i magnitude;
};

KERNEL_INLINE void noteHalfway(Vector sum, Trace& trace) {
  const __m128 lastBits = _mm_shuffle_ps(_mm_castpd_ps(sum.low), _mm_castpd_ps(sum.high), 0x88);
  trace.halfway = _mm_min_epi16(trace.halfway, _mm_slli_epi32(_mm_castps_si128(lastBits), 3));
}

KERNEL_INLINE void noteMagnitude(Vector sum, Trace& trace) {
  const __m128 firstBits = _mm_shuffle_ps(_mm_castpd_ps(sum.low), _mm_castpd_ps(sum.high), 0xDD);
  // A sum of 0 becomes the largest number.
  const __m128i magnitude =
      _mm_add_epi16(_mm_slli_epi32(_mm_castps_si128(firstBits), 1), _mm_set1_epi16(0x7FFF));
  trace.magnitude = _mm_min_epi16(trace.magnitude, magnitude);
}

KERNEL_INLINE bool mayHaveRoundedTwice(const Trace& trace) {
  // The first bits of 2^-126, as noteMagnitude turns them into a number.
  const __m128i smallestNormal = _mm_set1_epi16((short)(0x3810 * 2 + 0x7FFF));
  const __m128i isSubnormal = _mm_cmplt_epi16(trace.magnitude, smallestNormal);
  const __m128i isHalfway = _mm_cmpeq_epi16(trace.halfway, _mm_set1_epi16(-0x8000));
  return (_mm_movemask_epi8(_mm_or_si128(isSubnormal, isHalfway)) & 0xCCCC) != 0;
}

// Which floats the sums of a block may be. In the middle range none overflows, and none that is
// subnormal has to be rounded.
enum Range { kAnyRange, kMiddleRange };

// The float that is nearest to a sum, as a double. Which one it is if there are two does not
// matter.
template <Range Sums>
KERNEL_INLINE __m128d roundedToFloat(__m128d sum) {
  if (Sums == kAnyRange) return _mm_cvtps_pd(_mm_cvtpd_ps(sum));
  // A third of the time of the conversions.
  const __m128i raised = _mm_add_epi64(_mm_castpd_si128(sum), _mm_set1_epi64x(0x10000000));
  return _mm_castsi128_pd(_mm_and_si128(raised, _mm_set1_epi64x(-0x20000000)));
}

template <int Chains, Range Sums>
KERNEL_INLINE void advance(const Steps& steps, Vector* sums) {
  Vector next[Chains];
  for (int c = 0; c < Chains; ++c) next[c] = sums[c];
  Trace trace = {_mm_setzero_si128(), _mm_set1_epi16(0x7FFF)};
#pragma GCC unroll 1
  for (int32_t k = 0; k < steps.count; ++k) {
    const Vector b = widened(_mm_loadu_ps(steps.b + k * steps.bStep));
    const int64_t offset = steps.offsets[k];
#pragma GCC unroll 4
    for (int c = 0; c < Chains; ++c) {
      const __m128d a = _mm_cvtps_pd(_mm_set1_ps(steps.a[c][offset]));
      const Vector sum = {_mm_add_pd(_mm_mul_pd(a, b.low), next[c].low),
                          _mm_add_pd(_mm_mul_pd(a, b.high), next[c].high)};
      noteHalfway(sum, trace);
      if (Sums == kAnyRange) noteMagnitude(sum, trace);
      next[c] = {roundedToFloat<Sums>(sum.low), roundedToFloat<Sums>(sum.high)};
    }
  }
  if (__builtin_expect(mayHaveRoundedTwice(trace), 0)) {
    advanceExactly(steps, Chains, sums);
    return;
  }
  for (int c = 0; c < Chains; ++c) sums[c] = next[c];
}

// The biased exponents of the floats that are not 0: 0 for a subnormal one, 255 for an infinity or
// a NaN. If all are 0, smallest is 255 and largest is 0.
struct Exponents {
  int smallest;
  int largest;
};

Exponents exponentsOf(const float* floats, int64_t count) {
  uint32_t smallest = 0xFFFFFFFFu, largest = 0;
  for (int64_t i = 0; i < count; ++i) {
    uint32_t bits;
    std::memcpy(&bits, floats + i, sizeof bits);
    const uint32_t magnitude = bits * 2;
    // A zero becomes the largest number.
    smallest = magnitude - 1 < smallest ? magnitude - 1 : smallest;
    largest = magnitude > largest ? magnitude : largest;
  }
  return {(int)(smallest >> 24), (int)(largest >> 24)};
}

// The range of sums of fewer than 2^10 products a * b.
//
// A float with the biased exponent e is a multiple of 2^(e - 150), so a product is one of 2^(a + b
// - 300). If all products are multiples of 2^-149, as all floats are, so are their sums, and a
// subnormal one needs no rounding. A float is less than 2^(e - 126), so the sum of the magnitudes
// is less than 2^(a + b - 252 + 10). Rounding up each step, by 2^-24 of it, does not double that.
Range rangeOfSums(const Exponents& a, const Exponents& b) {
  const bool isSmall = a.smallest + b.smallest < 151;
  const bool isLarge = a.largest + b.largest - 252 + 10 + 1 > 127;
  return isSmall || isLarge ? kAnyRange : kMiddleRange;
}

// The outputs of four filters from `filter` on at four positions of an image, before pooling.
// positions[c] is the first pixel under the filters at position c, and offsets are from there to
// the others of a channel.
template <Range Sums>
KERNEL_INLINE void activateBlock(const DirectShape& shape, const DirectConvolution& task,
                                 const int64_t* offsets, const float* const* positions,
                                 int32_t filter, __m128* outputs) {
  const int64_t channelStep = shape.channels == 0 ? (int64_t)shape.side * shape.side : 1;
  Steps steps = {
      shape.filterSize * shape.filterSize, {}, offsets, task.weights + filter, shape.filters};
  for (int c = 0; c < kMostChains; ++c) steps.a[c] = positions[c];
  Vector sums[kMostChains] = {};
  for (int32_t channel = 0; channel < task.channels; ++channel) {
    advance<kMostChains, Sums>(steps, sums);
    steps.b += (int64_t)steps.count * shape.filters;
    for (int c = 0; c < kMostChains; ++c) steps.a[c] += channelStep;
  }
  const __m128 biases = _mm_loadu_ps(task.biases + filter);
  for (int c = 0; c < kMostChains; ++c) {
    // The second operand wins if the first is a NaN or a zero of either sign.
    outputs[c] = _mm_max_ps(_mm_add_ps(rounded(sums[c]), biases), _mm_setzero_ps());
  }
}

// One output pixel of a shape that pools: the maxima at the four positions of its window.
template <Range Sums>
void poolWindow(const DirectShape& shape, const DirectConvolution& task, const int64_t* offsets,
                const float* window, float* out) {
  const int64_t columnStep = shape.channels == 0 ? 1 : shape.channels;
  const float* below = window + shape.side * columnStep;
  const float* const positions[kMostChains] = {window, window + columnStep, below,
                                               below + columnStep};
  for (int32_t filter = 0; filter < shape.filters; filter += kLanes) {
    __m128 outputs[kMostChains];
    activateBlock<Sums>(shape, task, offsets, positions, filter, outputs);
    _mm_storeu_ps(out + filter, _mm_max_ps(_mm_max_ps(outputs[0], outputs[1]),
                                           _mm_max_ps(outputs[2], outputs[3])));
  }
}

// All positions of a shape that doesn't pool, four at a time.
template <Range Sums>
void keepPositions(const DirectShape& shape, const DirectConvolution& task,
                   const int64_t* offsets) {
  const float* image = task.images;
  float* out = task.out;
  const int32_t side = shape.side - shape.filterSize + 1;
  for (int32_t first = 0; first < side * side; first += kMostChains) {
    const int32_t left = side * side - first;
    const int count = left < kMostChains ? left : kMostChains;
    const float* positions[kMostChains];
    for (int c = 0; c < kMostChains; ++c) {
      const int32_t at = first + (c < count ? c : 0);
      positions[c] = image + (at / side * shape.side + at % side) * (int64_t)shape.channels;
    }
    for (int32_t filter = 0; filter < shape.filters; filter += kLanes) {
      __m128 outputs[kMostChains];
      activateBlock<Sums>(shape, task, offsets, positions, filter, outputs);
      for (int c = 0; c < count; ++c) {
        _mm_storeu_ps(out + (int64_t)(first + c) * shape.filters + filter, outputs[c]);
      }
    }
  }
}

template <Range Sums>
void convolveSample(const DirectShape& shape, const DirectConvolution& task) {
  const int64_t columnStep = shape.channels == 0 ? 1 : shape.channels;
  int64_t offsets[kMostSteps];
  for (int i = 0; i < shape.filterSize * shape.filterSize; ++i) {
    offsets[i] = (i / shape.filterSize * shape.side + i % shape.filterSize) * columnStep;
  }
  if (!shape.pools) {
    keepPositions<Sums>(shape, task, offsets);
    return;
  }
  const int32_t outSide = directOutputSide(shape);
  for (int32_t at = 0; at < outSide * outSide; ++at) {
    const int64_t y = 2 * (at / outSide), x = 2 * (at % outSide);
    poolWindow<Sums>(shape, task, offsets, task.images + (y * shape.side + x) * columnStep,
                     task.out + at * shape.filters);
  }
}

// Sums of `Rows` rows from `row` on in the columns [column, column + count), which b holds for each
// term at steps of bStep. Continues the stored sums.
template <int Rows>
KERNEL_INLINE void addTerms(const Product& product, int32_t row, int32_t column, int count,
                            int32_t firstTerm, int32_t terms, const float* b, int64_t bStep) {
  const size_t bytes = static_cast<size_t>(count) * sizeof(float);
  int64_t offsets[kMostSteps];
  for (int32_t k = 0; k < terms; ++k) offsets[k] = (firstTerm + k) * product.aTerm;
  Steps steps = {terms, {}, offsets, b, bStep};
  Vector sums[Rows];
  for (int r = 0; r < Rows; ++r) {
    steps.a[r] = product.a + (row + r) * product.aRow;
    float lanes[kLanes] = {0.0f, 0.0f, 0.0f, 0.0f};
    if (firstTerm > 0) {
      std::memcpy(lanes, product.sums + (row + r) * product.sumsRow + column, bytes);
    }
    sums[r] = widened(_mm_loadu_ps(lanes));
  }
  advance<Rows, kAnyRange>(steps, sums);
  for (int r = 0; r < Rows; ++r) {
    float lanes[kLanes];
    _mm_storeu_ps(lanes, rounded(sums[r]));
    std::memcpy(product.sums + (row + r) * product.sumsRow + column, lanes, bytes);
  }
}

// The columns [column, column + count), at most kLanes.
void sumColumns(const Product& product, int32_t column, int count) {
  float strip[kMostSteps * kLanes] = {};
  const bool isInPlace = product.bColumn == 1 && count == kLanes;
  int32_t term = 0;
  do {
    const int32_t left = product.terms - term;
    const int32_t terms = left < kMostSteps ? left : kMostSteps;
    const float* b = product.b + term * product.bTerm + column * product.bColumn;
    for (int32_t k = 0; !isInPlace && k < terms; ++k) {
      for (int j = 0; j < count; ++j) {
        strip[k * kLanes + j] = b[k * product.bTerm + j * product.bColumn];
      }
    }
    if (!isInPlace) b = strip;
    const int64_t bStep = isInPlace ? product.bTerm : kLanes;
    int32_t row = 0;
    for (; row + 4 <= product.rows; row += 4) {
      addTerms<4>(product, row, column, count, term, terms, b, bStep);
    }
    for (; row + 2 <= product.rows; row += 2) {
      addTerms<2>(product, row, column, count, term, terms, b, bStep);
    }
    if (row < product.rows) addTerms<1>(product, row, column, count, term, terms, b, bStep);
    term += kMostSteps;
  } while (term < product.terms);
}

}  // namespace

void productSse2(const Product& product) {
  for (int32_t column = 0; column < product.columns; column += kLanes) {
    const int32_t left = product.columns - column;
    sumColumns(product, column, left < kLanes ? left : kLanes);
  }
  // The processor chooses another NaN than the definition.
  for (int32_t i = 0; i < product.rows; ++i) {
    float* sums = product.sums + i * product.sumsRow;
    for (int32_t j = 0; j < product.columns; ++j) {
      if (sums[j] != sums[j]) sums[j] = productSumPlain(product, i, j);
    }
  }
}

void convolveDirectSse2(int32_t shapeIndex, const DirectConvolution& task) {
  const DirectShape& shape = kDirectShapes[shapeIndex];
  const int64_t imageFloats = (int64_t)shape.side * shape.side * task.channels;
  const int64_t weightFloats =
      (int64_t)shape.filterSize * shape.filterSize * task.channels * shape.filters;
  const Exponents weights = exponentsOf(task.weights, weightFloats);
  const int32_t outSide = directOutputSide(shape);
  const bool isShort = shape.filterSize * shape.filterSize * task.channels < 1024;
  DirectConvolution sample = task;
  for (int32_t s = 0; s < task.samples; ++s) {
    const Exponents image = exponentsOf(sample.images, imageFloats);
    if (isShort && rangeOfSums(image, weights) == kMiddleRange) {
      convolveSample<kMiddleRange>(shape, sample);
    } else {
      convolveSample<kAnyRange>(shape, sample);
    }
    sample.images += imageFloats;
    sample.out += (int64_t)outSide * outSide * shape.filters;
  }
}

}  // namespace facefeature
