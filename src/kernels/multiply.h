// The product of two matrices, and the adding of biases to it: what the layers with weights share.
#ifndef FACEFEATURE_KERNELS_MULTIPLY_H
#define FACEFEATURE_KERNELS_MULTIPLY_H

#include <cstdint>

#include "kernels/matrix.h"

namespace facefeature {

// c = alpha * a * b + beta * c by one cblas_sgemm: a is m x k and b is k x n, each stored by its
// order; c is row-major with lines of ldc floats and need not be initialised if beta is 0. a and b
// may have more lines than are used. Nothing is called where c has no elements.
void multiply(const Matrix& a, const Matrix& b, int32_t m, int32_t n, int32_t k, float alpha,
              float beta, float* c, int32_t ldc);

// target.addBroadcast(biases, 1, target), but for elements that lie room floats or more behind
// target.buffer: those are left out. A bias file of another shape than the layer's adds what it
// adds, to rows or columns as Matrix takes it, and does not reach memory behind the output.
// REQUIRES: target is row-major.
void addBiases(const Matrix& biases, int64_t room, Matrix& target);

// Adds bias f to the count floats of plane f: the one case that the nets have. The plain form walks
// down the planes for each place, one saxpy a place; the fast one along each plane.
void addPlaneBiasesPlain(const float* biases, int32_t planes, int32_t count, float* out);
void addPlaneBiasesFast(const float* biases, int32_t planes, int32_t count, float* out);

}  // namespace facefeature

#endif
