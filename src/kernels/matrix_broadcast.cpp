// Matrix: operations with row and column vectors, and reduction.
#include <memory>

#include "kernels/blas.h"
#include "kernels/matrix.h"
#include "kernels/vector_math.h"

namespace facefeature {
namespace {

// The rule that decides by rows alone; the class comment explains what it means for 1 x 1.
bool isRowVector(const Matrix& vector) { return vector.rows == 1; }

// Whether the vector's elements run along the storage of the matrix.
bool runsAlongStorage(const Matrix& vector, bool columnMajor) {
  return isRowVector(vector) != columnMajor;
}

}  // namespace

void Matrix::addBroadcast(const Matrix& vector, float factor, Matrix& target) const {
  if (&target != this) copyTo(target);
  // Lines without elements may have no buffer to advance through.
  if (vector.size < 1) return;
  // A line is the part of the target that the vector is added to: a row for a row vector, else a
  // column.
  const bool along = runsAlongStorage(vector, target.isColumnMajor());
  const int32_t lines = isRowVector(vector) ? target.rows : target.cols;
  const int32_t lineLength = isRowVector(vector) ? target.cols : target.rows;
  const int32_t step = along ? lineLength : 1;
  const int32_t increment = along ? 1 : lines;
  for (int32_t i = 0; i < lines; ++i) {
    cblas_saxpy(vector.size, factor, vector.buffer, 1,
                target.buffer + static_cast<int64_t>(i) * step, increment);
  }
}

void Matrix::multiplyBroadcast(const Matrix& vector, Matrix& target) const {
  if (&target != this) copyTo(target);
  // Element i scales column i of the target for a row vector, else row i.
  const bool along = runsAlongStorage(vector, target.isColumnMajor());
  const int32_t lineLength = isRowVector(vector) ? target.rows : target.cols;
  if (lineLength < 1) return;
  const int32_t step = along ? 1 : lineLength;
  const int32_t increment = along ? vector.size : 1;
  for (int32_t i = 0; i < vector.size; ++i) {
    cblas_sscal(lineLength, vector.buffer[i], target.buffer + static_cast<int64_t>(i) * step,
                increment);
  }
}

void Matrix::divideBroadcast(const Matrix& vector, Matrix& target) const {
  if (&target != this) target.resizeLike(*this);
  if (isColumnMajor() == target.isColumnMajor() && runsAlongStorage(vector, isColumnMajor())) {
    const int32_t lines = isColumnMajor() ? cols : rows;
    const int64_t stride = isColumnMajor() ? rows : cols;
    for (int32_t i = 0; i < lines; ++i) {
      vsDiv(vector.size, buffer + i * stride, vector.buffer, target.buffer + i * stride);
    }
    return;
  }
  // Multiplies by the rounded reciprocal on purpose: dividing would be more exact and would give
  // another number.
  const std::unique_ptr<Matrix> reciprocals(vector.clone());
  vsInv(reciprocals->size, reciprocals->buffer, reciprocals->buffer);
  multiplyBroadcast(*reciprocals, target);
}

void Matrix::reduce(int32_t axis, Matrix& target, ElementFunction function, float initial) const {
  const bool perColumn = axis == 0;
  const int32_t lines = perColumn ? cols : rows;
  const int32_t lineLength = perColumn ? rows : cols;
  target.resize(perColumn ? 1 : lines, perColumn ? lines : 1);
  for (int32_t i = 0; i < lines; ++i) {
    // Strictly from index 0 on: a pairwise or a vectorised sum would give other bits.
    float accumulator = initial;
    for (int32_t k = 0; k < lineLength; ++k) {
      accumulator = function(buffer[perColumn ? indexOf(k, i) : indexOf(i, k)], accumulator);
    }
    target.buffer[perColumn ? target.indexOf(0, i) : target.indexOf(i, 0)] = accumulator;
  }
}

}  // namespace facefeature
