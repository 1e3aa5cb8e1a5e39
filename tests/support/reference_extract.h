// Oracle of a complete extraction: from a picture, landmarks and the numbers of a model folder to
// the feature.
//
// All of it is computed in exact steps. The matrix product is a parameter, so that a test can pass
// another implementation (support/reference_product.h is the oracle's own).
#ifndef FACEFEATURE_TESTS_SUPPORT_REFERENCE_EXTRACT_H
#define FACEFEATURE_TESTS_SUPPORT_REFERENCE_EXTRACT_H

#include <array>
#include <cstdint>
#include <vector>

#include "support/reference_model.h"
#include "support/reference_patches.h"

namespace reference {

// c = a b + beta c for matrices without gaps, row by row: a is m x k, b is k x n, c is m x n. With
// a beta of 0, c need not hold numbers.
using MatrixProduct = void (*)(int32_t m, int32_t n, int32_t k, const float* a, const float* b,
                               float beta, float* c);

// Two samples each, one after the other.
struct NetActivations {
  std::array<std::vector<float>, 4> rectified;  // of the four filter banks
  std::array<std::vector<float>, 3> pooled;     // of the first three
  std::vector<float> outputs;                   // 2 x 160
};

// The geometry of the filter banks that a net of this input size has.
struct BankShape {
  int32_t channels, filters, filterSize;
  int32_t imgSize;   // side of the input
  int32_t modulesX;  // side of the output
};
BankShape bankShape(int32_t bank, int32_t channels, int32_t inputSide);

// patchMatrix: both rows of the net's patch.
NetActivations runNet(const NetNumbers& net, int32_t channels, int32_t inputSide,
                      const std::vector<float>& patchMatrix, MatrixProduct product);

// Both rows of 160 floats, each at unit length.
std::vector<float> unitRows(const float* outputs);

struct Extraction {
  PatchSet patches;
  std::vector<NetActivations> nets;
  std::vector<float> joined;  // 8000 floats
  std::vector<float> feature;
};

Extraction extract(const ModelNumbers& model, const PictureView& picture,
                   const LandmarkSet& landmarks, MatrixProduct product);

}  // namespace reference

#endif
