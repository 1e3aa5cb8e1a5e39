// The kernel sets: variants of the functions that take most of the time.  [STATE]
//
// A set belongs to a kind of processor. The plain set defines every result; each other set is
// bit-identical to it. The header of each plain function documents what its fast variants may do
// differently: unfold.h, pooling.h, multiply.h, project_rows.h, product.h, direct_convolution.h.
//
// To add a set: write its functions, in files named after their instruction set, and add one entry
// to the list in kernel_set.cpp. Tests, fuzz targets and benchmarks iterate over the list.
#ifndef FACEFEATURE_KERNELS_KERNEL_SET_H
#define FACEFEATURE_KERNELS_KERNEL_SET_H

#include <cstdint>

namespace facefeature {

struct DirectConvolution;
struct Product;

// Functions over plain pointers. None of them is null, and any thread may call them.
struct KernelSet {
  const char* name;  // unique in the list

  // Whether this processor and the operating system support every instruction of the set. Nothing
  // else of the set may be called if not. Always gives the same answer (platform/processor.h).
  bool (*runsHere)();

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

  // The same for count vectors in one pass: products[i][r] belongs to x[i].
  void (*projectMany)(const float* matrix, int32_t rows, int32_t cols, const float* const* x,
                      int32_t count, float* const* products);

  // The sums of a matrix product (product.h).
  void (*product)(const Product& product);

  // A filter bank of the built-in nets with what follows it (direct_convolution.h).
  void (*convolveDirect)(int32_t shape, const DirectConvolution& task);

  // out[c * rows + r] = in[r * columns + c] (direct_convolution.h).
  void (*transpose)(const float* in, int32_t rows, int32_t columns, float* out);
};

// A range of sets, for range-based for.
struct KernelSetList {
  const KernelSet* first;
  int32_t count;

  const KernelSet* begin() const { return first; }
  const KernelSet* end() const { return first + count; }
};

// All sets, best first. The last one is the plain set, which runs everywhere.
KernelSetList kernelSets();

const KernelSet& plainKernels();

// The active set: the first of the list that runs here, from loading on. Only tests and benchmarks
// assign another, while nothing runs (tests/support/scoped_kernels.h).
extern const KernelSet* activeKernels;

}  // namespace facefeature

#endif
