// Solving eight linear equations with a positive definite matrix.
#ifndef FACEFEATURE_GEOMETRY_CHOLESKY8_H
#define FACEFEATURE_GEOMETRY_CHOLESKY8_H

#include <cstdint>

namespace facefeature {

// Factors matrix (8 x 8, row by row, overwritten by the factor: lower triangle, with the reciprocal
// of each pivot on the diagonal) and replaces rightSide (8 floats) by the solution. A null
// rightSide means factor only.
//
// Returns 1, or 0 at a pivot below the smallest normal float; rightSide is then as it came. A NaN
// does not count as such a pivot and travels on into the solution.
//
// Single precision throughout, sums in rising index; the square root is taken in double.
int32_t SolveCholesky8(float* matrix, float* rightSide);

}  // namespace facefeature

#endif
