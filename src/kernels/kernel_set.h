// The forms of the work that takes the time: the plain one, which defines the result, and the fast
// one, which ends on the same bits.  [STATE]
//
// What a form may be is told beside its plain function: unfold.h, pooling.h, multiply.h, and
// kernels/project_rows.h and geometry/patch_matrices.h for the stages outside of the nets.
#ifndef FACEFEATURE_KERNELS_KERNEL_SET_H
#define FACEFEATURE_KERNELS_KERNEL_SET_H

#include <cstdint>

namespace facefeature {

// Plain functions over plain pointers.
struct KernelSet {
  const char* name;

  // UnfoldPatches.
  void (*unfold)(const float* image, int32_t channels, int32_t height, int32_t width,
                 int32_t filterSize, int32_t padding, int32_t stride, float* patches);

  // Adds bias f to the count floats of plane f.
  void (*addPlaneBiases)(const float* biases, int32_t planes, int32_t count, float* out);

  // Max pooling by windows of 2 x 2 without gap or overlap, for one plane of imgSize x imgSize:
  // outputsX x outputsX maxima, all windows inside.
  void (*maxPoolPairs)(const float* plane, int32_t imgSize, int32_t outputsX, float* out);

  // products[r] = the sum over j of matrix[r * cols + j] * x[j], for rows rows.
  void (*projectRows)(const float* matrix, int32_t rows, int32_t cols, const float* x,
                      float* products);

  // Whether patches that hang in equal frames share one, warped only where a sample reads it, and
  // gray values are made where they are read.
  bool sharesFrames;
};

extern const KernelSet kPlainKernels;
extern const KernelSet kFastKernels;

// The set that the library works with: the fast one from load on. Only tests and benchmarks choose
// another, while nothing runs.
extern const KernelSet* activeKernels;

}  // namespace facefeature

#endif
