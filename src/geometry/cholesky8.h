// Solves eight linear equations with a positive definite matrix.
#ifndef FACEFEATURE_GEOMETRY_CHOLESKY8_H
#define FACEFEATURE_GEOMETRY_CHOLESKY8_H

#include <cstdint>

namespace facefeature {

// Cholesky factorisation and solution. Factors matrix (8 x 8, row by row) in place into its lower
// triangle, with the reciprocal of each pivot on the diagonal, and replaces rightSide (8 floats) by
// the solution. If rightSide is null, only factors.
//
// Returns 1, or 0 at a pivot below the smallest normal float; rightSide is then unchanged. A NaN
// does not count as such a pivot and propagates into the solution.
//
// Single precision throughout, sums in ascending index; the square root is computed in double.
int32_t SolveCholesky8(float* matrix, float* rightSide);

}  // namespace facefeature

#endif
