// The product of two matrices and the addition of biases to it, shared by the layers with weights.
#ifndef FACEFEATURE_KERNELS_MULTIPLY_H
#define FACEFEATURE_KERNELS_MULTIPLY_H

#include <cstdint>

#include "kernels/matrix.h"

namespace facefeature {

// c = alpha * a * b + beta * c by one cblas_sgemm: a is m x k and b is k x n, each stored by its
// order; c is row-major with lines of ldc floats and need not be initialised if beta is 0. a and b
// may have more lines than are used. Does nothing if c has no elements.
void multiply(const Matrix& a, const Matrix& b, int32_t m, int32_t n, int32_t k, float alpha,
              float beta, float* c, int32_t ldc);

// target.addBroadcast(biases, 1, target), except for elements at or beyond target.buffer + room,
// which are left out. A bias file of another shape than the layer's is added to rows or columns as
// Matrix treats it, and never affects memory after the output. REQUIRES: target is row-major.
void addBiases(const Matrix& biases, int64_t room, Matrix& target);

// Adds bias f to the count floats of plane f: the only case in the built-in nets. The plain variant
// goes across the planes, one saxpy for each position; the fast one goes along each plane.
void addPlaneBiasesPlain(const float* biases, int32_t planes, int32_t count, float* out);
void addPlaneBiasesFast(const float* biases, int32_t planes, int32_t count, float* out);

}  // namespace facefeature

#endif
