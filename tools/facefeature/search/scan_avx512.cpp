// Sixteen features side by side. Only the functions marked here use AVX-512. The file calls no
// inline functions of other headers except intrinsics, so no such code reaches the rest of the
// program.
#include "search/scan_kernels.h"
#include "search/scan_layout.h"

#if defined(__x86_64__)
// GCC 12 warns about registers in its own header that are uninitialised on purpose.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#include <immintrin.h>
#pragma GCC diagnostic pop

#define AVX512_KERNEL __attribute__((target("avx512f")))

namespace facefeature_tools {
namespace {

constexpr int32_t kLanes = 16;
constexpr int32_t kStep = 4;  // elements of each feature per load
constexpr int32_t kMaxProbes = 16;

struct Columns {
  __m512 column[kStep];
};

// Four elements of each of four features that are four rows apart, in the four quarters.
AVX512_KERNEL inline __attribute__((always_inline)) __m512 loadQuarters(const float* first) {
  __m512 quarters = _mm512_castps128_ps512(_mm_loadu_ps(first));
  // A masked broadcast from memory is a load and a blend. An insertion would need the only port
  // that the transposition below uses.
  quarters = _mm512_mask_broadcast_f32x4(quarters, 0x00F0, _mm_loadu_ps(first + 4 * kScanFloats));
  quarters = _mm512_mask_broadcast_f32x4(quarters, 0x0F00, _mm_loadu_ps(first + 8 * kScanFloats));
  return _mm512_mask_broadcast_f32x4(quarters, 0xF000, _mm_loadu_ps(first + 12 * kScanFloats));
}

// Four elements of sixteen features, transposed: lane r of column i is element i of feature r.
AVX512_KERNEL inline __attribute__((always_inline)) Columns loadColumns(const float* rows) {
  const __m512 q0 = loadQuarters(rows);
  const __m512 q1 = loadQuarters(rows + kScanFloats);
  const __m512 q2 = loadQuarters(rows + 2 * kScanFloats);
  const __m512 q3 = loadQuarters(rows + 3 * kScanFloats);
  const __m512d low01 = _mm512_castps_pd(_mm512_unpacklo_ps(q0, q1));
  const __m512d low23 = _mm512_castps_pd(_mm512_unpacklo_ps(q2, q3));
  const __m512d high01 = _mm512_castps_pd(_mm512_unpackhi_ps(q0, q1));
  const __m512d high23 = _mm512_castps_pd(_mm512_unpackhi_ps(q2, q3));
  return {{_mm512_castpd_ps(_mm512_unpacklo_pd(low01, low23)),
           _mm512_castpd_ps(_mm512_unpackhi_pd(low01, low23)),
           _mm512_castpd_ps(_mm512_unpacklo_pd(high01, high23)),
           _mm512_castpd_ps(_mm512_unpackhi_pd(high01, high23))}};
}

// Sixteen features with kProbes probes. The scores of consecutive probes are stride floats apart.
// Prefetches the features at ahead, if that is not null.
template <int32_t kProbes>
AVX512_KERNEL void scoreBlock(const float* rows, const float* ahead, const float* probes,
                              float* scores, int64_t stride) {
  __m512 sums[kProbes];
#pragma GCC unroll 16
  for (int32_t p = 0; p < kProbes; ++p) sums[p] = _mm512_setzero_ps();
  for (int32_t k = 0; k < kScanProducts; k += kStep) {
    const Columns c = loadColumns(rows + k);
    if (ahead != nullptr) {
      // Sixteen features have 502 cache lines, and the loop has 125 iterations.
      const char* lines = reinterpret_cast<const char*>(ahead) + 64 * k;
      _mm_prefetch(lines, _MM_HINT_T0);
      _mm_prefetch(lines + 64, _MM_HINT_T0);
      _mm_prefetch(lines + 128, _MM_HINT_T0);
      _mm_prefetch(lines + 192, _MM_HINT_T0);
    }
#pragma GCC unroll 4
    for (int32_t i = 0; i < kStep; ++i) {
#pragma GCC unroll 16
      for (int32_t p = 0; p < kProbes; ++p) {
        const __m512 probe = _mm512_set1_ps(probes[p * kScanFloats + k + i]);
        sums[p] = _mm512_add_ps(sums[p], _mm512_mul_ps(c.column[i], probe));
      }
    }
  }
  float rowSquares[kLanes], rowNorms[kLanes];
  for (int32_t r = 0; r < kLanes; ++r) {
    rowSquares[r] = rows[r * kScanFloats + kScanSquares];
    rowNorms[r] = rows[r * kScanFloats + kScanNorm];
  }
  const __m512 squares = _mm512_loadu_ps(rowSquares);
  const __m512 norms = _mm512_loadu_ps(rowNorms);
#pragma GCC unroll 16
  for (int32_t p = 0; p < kProbes; ++p) {
    const float* probe = probes + p * kScanFloats;
    const __m512 bothSquares = _mm512_add_ps(_mm512_set1_ps(probe[kScanSquares]), squares);
    const __m512 bothNorms = _mm512_mul_ps(_mm512_set1_ps(probe[kScanNorm]), norms);
    const __m512 twice = _mm512_mul_ps(sums[p], _mm512_set1_ps(2.0f));
    const __m512 quotient = _mm512_div_ps(_mm512_sub_ps(twice, bothSquares), bothNorms);
    _mm512_storeu_ps(scores + p * stride, _mm512_add_ps(quotient, _mm512_set1_ps(1.0f)));
  }
}

// Sixteen features with any number of probes.
AVX512_KERNEL void scoreRows16(const float* rows, const float* ahead, const float* probes,
                               int32_t count, float* scores, int64_t stride) {
  while (count > 0) {
    int32_t done = kMaxProbes;
    if (count >= 16) {
      scoreBlock<16>(rows, ahead, probes, scores, stride);
    } else if (count >= 8) {
      scoreBlock<8>(rows, ahead, probes, scores, stride);
      done = 8;
    } else if (count >= 4) {
      scoreBlock<4>(rows, ahead, probes, scores, stride);
      done = 4;
    } else if (count >= 2) {
      scoreBlock<2>(rows, ahead, probes, scores, stride);
      done = 2;
    } else {
      scoreBlock<1>(rows, ahead, probes, scores, stride);
      done = 1;
    }
    ahead = nullptr;
    probes += static_cast<int64_t>(done) * kScanFloats;
    scores += done * stride;
    count -= done;
  }
}

// Fewer features than lanes: copied to a block of their own, with zeros in the other lanes.
AVX512_KERNEL void scoreFewRows(const float* rows, int32_t rowCount, const float* probes,
                                int32_t count, float* scores) {
  float block[kLanes * kScanFloats];
  for (int32_t i = 0; i < kLanes * kScanFloats; ++i) {
    block[i] = i < rowCount * kScanFloats ? rows[i] : 0.0f;
  }
  float blockScores[kLanes * kMaxProbes];
  while (count > 0) {
    const int32_t done = count < kMaxProbes ? count : kMaxProbes;
    scoreRows16(block, nullptr, probes, done, blockScores, kLanes);
    for (int32_t p = 0; p < done; ++p) {
      for (int32_t r = 0; r < rowCount; ++r) scores[r] = blockScores[p * kLanes + r];
      scores += rowCount;
    }
    probes += static_cast<int64_t>(done) * kScanFloats;
    count -= done;
  }
}

}  // namespace

AVX512_KERNEL void scoreRowsAvx512(const float* features, int32_t rows, const float* probes,
                                   int32_t count, float* scores) {
  if (rows < kLanes) {
    scoreFewRows(features, rows, probes, count, scores);
    return;
  }
  for (int32_t done = 0; done < rows;) {
    // The last block overlaps the previous one and computes some scores twice.
    const int32_t r = done + kLanes <= rows ? done : rows - kLanes;
    const float* block = features + static_cast<int64_t>(r) * kScanFloats;
    const bool hasNext = r + 2 * kLanes <= rows;
    scoreRows16(block, hasNext ? block + kLanes * kScanFloats : nullptr, probes, count, scores + r,
                rows);
    done = r + kLanes;
  }
}

}  // namespace facefeature_tools

#endif
