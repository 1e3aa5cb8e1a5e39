// Eight features side by side. Only the functions marked here use AVX2. The file calls no inline
// functions of other headers except intrinsics, so no such code reaches the rest of the program.
#include "search/scan_kernels.h"
#include "search/scan_layout.h"

#if defined(__x86_64__)
#include <immintrin.h>

// Without FMA, so that no compiler can fuse a product and a sum.
#define AVX2_KERNEL __attribute__((target("avx2")))

namespace facefeature_tools {
namespace {

constexpr int32_t kLanes = 8;
constexpr int32_t kStep = 4;  // elements of each feature per load
constexpr int32_t kMaxProbes = 8;

struct Columns {
  __m256 column[kStep];
};

// Four elements of each of two features that are four rows apart, in the two halves.
AVX2_KERNEL inline __attribute__((always_inline)) __m256 loadHalves(const float* first) {
  return _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(first)),
                              _mm_loadu_ps(first + 4 * kScanFloats), 1);
}

// Four elements of eight features, transposed: lane r of column i is element i of feature r.
AVX2_KERNEL inline __attribute__((always_inline)) Columns loadColumns(const float* rows) {
  const __m256 h0 = loadHalves(rows);
  const __m256 h1 = loadHalves(rows + kScanFloats);
  const __m256 h2 = loadHalves(rows + 2 * kScanFloats);
  const __m256 h3 = loadHalves(rows + 3 * kScanFloats);
  const __m256d low01 = _mm256_castps_pd(_mm256_unpacklo_ps(h0, h1));
  const __m256d low23 = _mm256_castps_pd(_mm256_unpacklo_ps(h2, h3));
  const __m256d high01 = _mm256_castps_pd(_mm256_unpackhi_ps(h0, h1));
  const __m256d high23 = _mm256_castps_pd(_mm256_unpackhi_ps(h2, h3));
  return {{_mm256_castpd_ps(_mm256_unpacklo_pd(low01, low23)),
           _mm256_castpd_ps(_mm256_unpackhi_pd(low01, low23)),
           _mm256_castpd_ps(_mm256_unpacklo_pd(high01, high23)),
           _mm256_castpd_ps(_mm256_unpackhi_pd(high01, high23))}};
}

// Eight features with kProbes probes. The scores of consecutive probes are stride floats apart.
// Prefetches the features at ahead, if that is not null.
template <int32_t kProbes>
AVX2_KERNEL void scoreBlock(const float* rows, const float* ahead, const float* probes,
                            float* scores, int64_t stride) {
  __m256 sums[kProbes];
#pragma GCC unroll 8
  for (int32_t p = 0; p < kProbes; ++p) sums[p] = _mm256_setzero_ps();
  for (int32_t k = 0; k < kScanProducts; k += kStep) {
    const Columns c = loadColumns(rows + k);
    if (ahead != nullptr) {
      // Eight features have 251 cache lines, and the loop has 125 iterations.
      const char* lines = reinterpret_cast<const char*>(ahead) + 32 * k;
      _mm_prefetch(lines, _MM_HINT_T0);
      _mm_prefetch(lines + 64, _MM_HINT_T0);
    }
#pragma GCC unroll 4
    for (int32_t i = 0; i < kStep; ++i) {
#pragma GCC unroll 8
      for (int32_t p = 0; p < kProbes; ++p) {
        const __m256 probe = _mm256_broadcast_ss(probes + p * kScanFloats + k + i);
        sums[p] = _mm256_add_ps(sums[p], _mm256_mul_ps(c.column[i], probe));
      }
    }
  }
  float rowSquares[kLanes], rowNorms[kLanes];
  for (int32_t r = 0; r < kLanes; ++r) {
    rowSquares[r] = rows[r * kScanFloats + kScanSquares];
    rowNorms[r] = rows[r * kScanFloats + kScanNorm];
  }
  const __m256 squares = _mm256_loadu_ps(rowSquares);
  const __m256 norms = _mm256_loadu_ps(rowNorms);
#pragma GCC unroll 8
  for (int32_t p = 0; p < kProbes; ++p) {
    const float* probe = probes + p * kScanFloats;
    const __m256 bothSquares = _mm256_add_ps(_mm256_broadcast_ss(probe + kScanSquares), squares);
    const __m256 bothNorms = _mm256_mul_ps(_mm256_broadcast_ss(probe + kScanNorm), norms);
    const __m256 twice = _mm256_mul_ps(sums[p], _mm256_set1_ps(2.0f));
    const __m256 quotient = _mm256_div_ps(_mm256_sub_ps(twice, bothSquares), bothNorms);
    _mm256_storeu_ps(scores + p * stride, _mm256_add_ps(quotient, _mm256_set1_ps(1.0f)));
  }
}

// Eight features with any number of probes.
AVX2_KERNEL void scoreRows8(const float* rows, const float* ahead, const float* probes,
                            int32_t count, float* scores, int64_t stride) {
  while (count > 0) {
    int32_t done = kMaxProbes;
    if (count >= 8) {
      scoreBlock<8>(rows, ahead, probes, scores, stride);
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
AVX2_KERNEL void scoreFewRows(const float* rows, int32_t rowCount, const float* probes,
                              int32_t count, float* scores) {
  float block[kLanes * kScanFloats];
  for (int32_t i = 0; i < kLanes * kScanFloats; ++i) {
    block[i] = i < rowCount * kScanFloats ? rows[i] : 0.0f;
  }
  float blockScores[kLanes * kMaxProbes];
  while (count > 0) {
    const int32_t done = count < kMaxProbes ? count : kMaxProbes;
    scoreRows8(block, nullptr, probes, done, blockScores, kLanes);
    for (int32_t p = 0; p < done; ++p) {
      for (int32_t r = 0; r < rowCount; ++r) scores[r] = blockScores[p * kLanes + r];
      scores += rowCount;
    }
    probes += static_cast<int64_t>(done) * kScanFloats;
    count -= done;
  }
}

}  // namespace

AVX2_KERNEL void scoreRowsAvx2(const float* features, int32_t rows, const float* probes,
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
    scoreRows8(block, hasNext ? block + kLanes * kScanFloats : nullptr, probes, count, scores + r,
               rows);
    done = r + kLanes;
  }
}

}  // namespace facefeature_tools

#endif
