// Eight features side by side, in two registers of four lanes.
#include "search/scan_kernels.h"
#include "search/scan_layout.h"

#if defined(__aarch64__)
#include <arm_neon.h>

namespace facefeature_tools {
namespace {

constexpr int32_t kLanes = 8;
constexpr int32_t kHalf = 4;
constexpr int32_t kStep = 4;  // elements of each feature per load
constexpr int32_t kMaxProbes = 8;

struct Columns {
  float32x4_t column[kStep];
};

// Four elements of four features, transposed: lane r of column i is element i of feature r.
inline __attribute__((always_inline)) Columns loadColumns(const float* rows) {
  const float32x4_t r0 = vld1q_f32(rows);
  const float32x4_t r1 = vld1q_f32(rows + kScanFloats);
  const float32x4_t r2 = vld1q_f32(rows + 2 * kScanFloats);
  const float32x4_t r3 = vld1q_f32(rows + 3 * kScanFloats);
  const float64x2_t even01 = vreinterpretq_f64_f32(vtrn1q_f32(r0, r1));
  const float64x2_t even23 = vreinterpretq_f64_f32(vtrn1q_f32(r2, r3));
  const float64x2_t odd01 = vreinterpretq_f64_f32(vtrn2q_f32(r0, r1));
  const float64x2_t odd23 = vreinterpretq_f64_f32(vtrn2q_f32(r2, r3));
  return {{vreinterpretq_f32_f64(vtrn1q_f64(even01, even23)),
           vreinterpretq_f32_f64(vtrn1q_f64(odd01, odd23)),
           vreinterpretq_f32_f64(vtrn2q_f64(even01, even23)),
           vreinterpretq_f32_f64(vtrn2q_f64(odd01, odd23))}};
}

// Eight features with kProbes probes. The scores of consecutive probes are stride floats apart.
template <int32_t kProbes>
void scoreBlock(const float* rows, const float* probes, float* scores, int64_t stride) {
  float32x4_t low[kProbes], high[kProbes];
#pragma GCC unroll 8
  for (int32_t p = 0; p < kProbes; ++p) low[p] = high[p] = vdupq_n_f32(0.0f);
  for (int32_t k = 0; k < kScanProducts; k += kStep) {
    const Columns a = loadColumns(rows + k);
    const Columns b = loadColumns(rows + kHalf * kScanFloats + k);
#pragma GCC unroll 4
    for (int32_t i = 0; i < kStep; ++i) {
#pragma GCC unroll 8
      for (int32_t p = 0; p < kProbes; ++p) {
        const float32x4_t probe = vdupq_n_f32(probes[p * kScanFloats + k + i]);
        low[p] = vaddq_f32(low[p], vmulq_f32(a.column[i], probe));
        high[p] = vaddq_f32(high[p], vmulq_f32(b.column[i], probe));
      }
    }
  }
  float sums[kLanes];
  for (int32_t p = 0; p < kProbes; ++p) {
    const float* a = probes + p * kScanFloats;
    vst1q_f32(sums, low[p]);
    vst1q_f32(sums + kHalf, high[p]);
    for (int32_t r = 0; r < kLanes; ++r) {
      const float* b = rows + r * kScanFloats;
      const float numerator = sums[r] * 2.0f - (a[kScanSquares] + b[kScanSquares]);
      scores[p * stride + r] = numerator / (a[kScanNorm] * b[kScanNorm]) + 1.0f;
    }
  }
}

// Eight features with any number of probes.
void scoreRows8(const float* rows, const float* probes, int32_t count, float* scores,
                int64_t stride) {
  while (count > 0) {
    int32_t done = kMaxProbes;
    if (count >= 8) {
      scoreBlock<8>(rows, probes, scores, stride);
    } else if (count >= 4) {
      scoreBlock<4>(rows, probes, scores, stride);
      done = 4;
    } else if (count >= 2) {
      scoreBlock<2>(rows, probes, scores, stride);
      done = 2;
    } else {
      scoreBlock<1>(rows, probes, scores, stride);
      done = 1;
    }
    probes += static_cast<int64_t>(done) * kScanFloats;
    scores += done * stride;
    count -= done;
  }
}

// Fewer features than lanes: copied to a block of their own, with zeros in the other lanes.
void scoreFewRows(const float* rows, int32_t rowCount, const float* probes, int32_t count,
                  float* scores) {
  float block[kLanes * kScanFloats];
  for (int32_t i = 0; i < kLanes * kScanFloats; ++i) {
    block[i] = i < rowCount * kScanFloats ? rows[i] : 0.0f;
  }
  float blockScores[kLanes * kMaxProbes];
  while (count > 0) {
    const int32_t done = count < kMaxProbes ? count : kMaxProbes;
    scoreRows8(block, probes, done, blockScores, kLanes);
    for (int32_t p = 0; p < done; ++p) {
      for (int32_t r = 0; r < rowCount; ++r) scores[r] = blockScores[p * kLanes + r];
      scores += rowCount;
    }
    probes += static_cast<int64_t>(done) * kScanFloats;
    count -= done;
  }
}

}  // namespace

void scoreRowsNeon(const float* features, int32_t rows, const float* probes, int32_t count,
                   float* scores) {
  if (rows < kLanes) {
    scoreFewRows(features, rows, probes, count, scores);
    return;
  }
  for (int32_t done = 0; done < rows;) {
    // The last block overlaps the previous one and computes some scores twice.
    const int32_t r = done + kLanes <= rows ? done : rows - kLanes;
    scoreRows8(features + static_cast<int64_t>(r) * kScanFloats, probes, count, scores + r, rows);
    done = r + kLanes;
  }
}

}  // namespace facefeature_tools

#endif
