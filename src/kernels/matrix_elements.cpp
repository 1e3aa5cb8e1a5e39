// Matrix: element-wise arithmetic and the unary functions.
#include <cmath>

#include "kernels/blas.h"
#include "kernels/matrix.h"
#include "kernels/vector_math.h"

namespace facefeature {

void Matrix::addScaled(const Matrix& other, float factor, Matrix& target) const {
  if (isColumnMajor() == other.isColumnMajor() && isColumnMajor() == target.isColumnMajor()) {
    if (&target != this) copyTo(target);
    cblas_saxpy(size, factor, other.buffer, 1, target.buffer, 1);
    return;
  }
  if (&target != this) target.resizeLike(*this);
  if (factor == 1.0f) {
    combineElements(other, elementAdd, target);
  } else {
    mixElements(other, factor, target);
  }
}

void Matrix::addScalar(float value, Matrix& target) const {
  target.resizeLike(*this);
  for (int32_t i = 0; i < size; ++i) target.buffer[i] = value + buffer[i];
}

void Matrix::maxWithScalar(float value, Matrix& target) const {
  target.resizeLike(*this);
  // Not std::max, which keeps a NaN or a -0 in its first argument.
  for (int32_t i = 0; i < size; ++i) target.buffer[i] = buffer[i] > value ? buffer[i] : value;
}

void Matrix::maxElements(const Matrix& other, Matrix& target) const {
  target.resizeLike(*this);
  combineElements(other, elementMax, target);
}

void Matrix::multiplyElements(const Matrix& other, Matrix& target) const {
  target.resizeLike(*this);
  if (isColumnMajor() != other.isColumnMajor()) {
    combineElements(other, elementMultiply, target);
    return;
  }
  vsMul(size, buffer, other.buffer, target.buffer);
}

void Matrix::combineElements(const Matrix& other, ElementFunction function, Matrix& target) const {
  for (int32_t r = 0; r < rows; ++r) {
    for (int32_t c = 0; c < cols; ++c) {
      target.buffer[target.indexOf(r, c)] =
          function(buffer[indexOf(r, c)], other.buffer[other.indexOf(r, c)]);
    }
  }
}

void Matrix::mixElements(const Matrix& other, float factor, Matrix& target) const {
  for (int32_t r = 0; r < rows; ++r) {
    for (int32_t c = 0; c < cols; ++c) {
      const float scaled = other.buffer[other.indexOf(r, c)] * factor;
      target.buffer[target.indexOf(r, c)] = scaled + buffer[indexOf(r, c)];
    }
  }
}

namespace {

void fill(Matrix& target, int32_t count, float value) {
  for (int32_t i = 0; i < count; ++i) target.buffer[i] = value;
}

void clearSigns(const Matrix& source, Matrix& target) {
  for (int32_t i = 0; i < source.size; ++i) target.buffer[i] = std::fabs(source.buffer[i]);
}

void takeSigns(const Matrix& source, Matrix& target) {
  for (int32_t i = 0; i < source.size; ++i) {
    target.buffer[i] = source.buffer[i] > 0.0f ? 1.0f : -1.0f;
  }
}

void scaleAll(Matrix& target, float factor) { cblas_sscal(target.size, factor, target.buffer, 1); }

void logisticByTanh(const Matrix& source, Matrix& target) {
  if (&target != &source) source.copyTo(target);
  scaleAll(target, 0.5f);
  target.applyFunction(MatrixFunction::Tanh, target);
  target.addScalar(1.0f, target);
  scaleAll(target, 0.5f);
}

void logisticByExp(const Matrix& source, Matrix& target) {
  if (&target != &source) source.copyTo(target);
  scaleAll(target, -1.0f);
  target.applyFunction(MatrixFunction::Exp, target);
  target.addScalar(1.0f, target);
  target.applyFunction(MatrixFunction::Reciprocal, target);
}

}  // namespace

void Matrix::applyFunction(int32_t code, Matrix& target) const {
  target.resizeLike(*this);
  switch (code) {
    case MatrixFunction::Exp:
      return vsExp(size, buffer, target.buffer);
    case MatrixFunction::Tanh:
      return vsTanh(size, buffer, target.buffer);
    case MatrixFunction::Reciprocal:
      return vsInv(size, buffer, target.buffer);
    case MatrixFunction::Square:
      return vsSqr(size, buffer, target.buffer);
    case MatrixFunction::Log:
      return vsLn(size, buffer, target.buffer);
    case MatrixFunction::Zero:
      return fill(target, size, 0.0f);
    case MatrixFunction::One:
      return fill(target, size, 1.0f);
    case MatrixFunction::Abs:
      return clearSigns(*this, target);
    case MatrixFunction::Sign:
      return takeSigns(*this, target);
    case MatrixFunction::LogisticByTanh:
      return logisticByTanh(*this, target);
    case MatrixFunction::LogisticByExp:
      return logisticByExp(*this, target);
    default:
      return;
  }
}

void Matrix::applyFunction(int32_t code) { applyFunction(code, *this); }

}  // namespace facefeature
