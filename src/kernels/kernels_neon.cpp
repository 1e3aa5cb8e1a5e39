// The kernels for AArch64, where Advanced SIMD with its fused multiply-add is always present.
#include <arm_neon.h>

#include "kernels/direct_convolution.h"
#include "kernels/product.h"
#include "kernels/project_rows.h"

#define KERNEL_INLINE static inline __attribute__((always_inline))

namespace facefeature {
namespace {

typedef float32x4_t Vector;
enum { kLanes = 4 };

KERNEL_INLINE Vector zeroVector() { return vdupq_n_f32(0.0f); }
KERNEL_INLINE Vector loadVector(const float* from) { return vld1q_f32(from); }
KERNEL_INLINE void storeVector(float* to, Vector v) { vst1q_f32(to, v); }
KERNEL_INLINE Vector loadLanes(const float* from, int count) {
  float lanes[kLanes] = {0.0f, 0.0f, 0.0f, 0.0f};
  for (int i = 0; i < count; ++i) lanes[i] = from[i];
  return vld1q_f32(lanes);
}
KERNEL_INLINE void storeLanes(float* to, int count, Vector v) {
  float lanes[kLanes];
  vst1q_f32(lanes, v);
  for (int i = 0; i < count; ++i) to[i] = lanes[i];
}
KERNEL_INLINE Vector broadcast(float value) { return vdupq_n_f32(value); }
KERNEL_INLINE Vector multiplyAdd(Vector a, Vector b, Vector sum) { return vfmaq_f32(sum, a, b); }
KERNEL_INLINE Vector addVectors(Vector a, Vector b) { return vaddq_f32(a, b); }
KERNEL_INLINE Vector multiplyVectors(Vector a, Vector b) { return vmulq_f32(a, b); }
// A comparison and a mask: the processor's maximum would return a NaN.
KERNEL_INLINE Vector positivePart(Vector v) {
  const uint32x4_t isPositive = vcgtq_f32(v, vdupq_n_f32(0.0f));
  return vreinterpretq_f32_u32(vandq_u32(vreinterpretq_u32_f32(v), isPositive));
}
KERNEL_INLINE Vector maxOfPositive(Vector a, Vector b) { return vmaxq_f32(a, b); }
KERNEL_INLINE bool hasNaN(Vector v) { return vminvq_u32(vceqq_f32(v, v)) == 0; }
KERNEL_INLINE void prefetchSoon(const void* at) { __builtin_prefetch(at, 0, 3); }
KERNEL_INLINE void prefetchLater(const void* at) { __builtin_prefetch(at, 0, 2); }

// Columns 0 to 3 of 4 rows.
KERNEL_INLINE void loadColumns(const float* rows, int64_t stride, Vector* columns) {
  const float32x4x2_t upper = vtrnq_f32(vld1q_f32(rows), vld1q_f32(rows + stride));
  const float32x4x2_t lower = vtrnq_f32(vld1q_f32(rows + 2 * stride), vld1q_f32(rows + 3 * stride));
  columns[0] = vcombine_f32(vget_low_f32(upper.val[0]), vget_low_f32(lower.val[0]));
  columns[1] = vcombine_f32(vget_low_f32(upper.val[1]), vget_low_f32(lower.val[1]));
  columns[2] = vcombine_f32(vget_high_f32(upper.val[0]), vget_high_f32(lower.val[0]));
  columns[3] = vcombine_f32(vget_high_f32(upper.val[1]), vget_high_f32(lower.val[1]));
}

// 32 registers. The tiles leave room for the weights and are not measured: no such processor was
// at hand.
enum { kTileRows = 4, kTileVectors = 5, kPairVectors = 10, kProductAhead = 5120 };

struct Tiles {
  enum { kSamples1 = 1, kColumns1 = 4, kVectors1 = 2, kLines1 = 2 };
  enum { kColumns2 = 4, kVectors2 = 2, kLines2 = 1 };
  enum { kColumns3 = 2, kVectors3 = 4, kLines3 = 1 };
  enum { kSamples4 = 1, kSamples4Even = 1, kVectors4 = 4, kLines4 = 1 };
};

#include "kernels/vector_product.inc"

#include "kernels/vector_convolution.inc"

#include "kernels/vector_columns.inc"

}  // namespace

void productNeon(const Product& product) { productOfVectors(product); }

void convolveDirectNeon(int32_t shape, const DirectConvolution& task) {
  convolveVectors<Tiles>(shape, task);
}

void transposeNeon(const float* in, int32_t rows, int32_t columns, float* out) {
  transposeVectors(in, rows, columns, out);
}

void projectManyNeon(const float* matrix, int32_t rows, int32_t columns, const float* const* x,
                     int32_t count, float* const* products) {
  projectVectors(matrix, rows, columns, x, count, products);
}

}  // namespace facefeature
