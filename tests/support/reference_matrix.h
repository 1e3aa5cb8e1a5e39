// A naive model of the matrix type: an array of cells and a rule for the index of (r, c) in it.
//
// A cell holds one value, or none if it is undefined: storage that was allocated and not written. A
// test compares a matrix with its model after each operation and then lets the model adopt the
// values found.
#ifndef FACEFEATURE_TESTS_SUPPORT_REFERENCE_MATRIX_H
#define FACEFEATURE_TESTS_SUPPORT_REFERENCE_MATRIX_H

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace reference {

using Cell = std::vector<float>;
using Binary = std::function<float(float, float)>;

// For an order that is neither of these, anything but kByColumns is treated as by rows.
inline constexpr int32_t kByRows = 111;
inline constexpr int32_t kByColumns = 112;

class Matrix {
 public:
  Matrix() = default;
  // `values` in storage order.
  Matrix(int32_t wantedRows, int32_t wantedCols, int32_t wantedOrder,
         const std::vector<float>& values);

  int32_t rows = 0;
  int32_t cols = 0;
  int32_t size = 0;
  int32_t order = kByRows;
  std::vector<Cell> cells;  // in storage order
  bool replaced = false;    // the latest operation released the old storage

  bool byColumns() const { return order == kByColumns; }
  int32_t indexOf(int32_t r, int32_t c) const;

  void resize(int32_t wantedRows, int32_t wantedCols);
  void copyTo(Matrix& target) const;
  void copyElementsTo(Matrix& target) const;
  Matrix clone() const;
  // Cells move only if this is not stored by columns; the caller tests what is shared.
  Matrix transposed() const;

  void addScaled(const Matrix& other, float factor, Matrix& target) const;
  void addScalar(float value, Matrix& target) const;
  void maxWithScalar(float value, Matrix& target) const;
  void maxElements(const Matrix& other, Matrix& target) const;
  void multiplyElements(const Matrix& other, Matrix& target) const;
  void combineElements(const Matrix& other, const Binary& function, Matrix& target) const;
  void mixElements(const Matrix& other, float factor, Matrix& target) const;

  void addBroadcast(const Matrix& vector, float factor, Matrix& target) const;
  void multiplyBroadcast(const Matrix& vector, Matrix& target) const;
  void divideBroadcast(const Matrix& vector, Matrix& target) const;
  void reduce(int32_t axis, Matrix& target, const Binary& function, float initial) const;

  void applyFunction(int32_t code, Matrix& target) const;

  // Checks that the cells allow these `size` values. Reports the index of the first wrong one.
  ::testing::AssertionResult allows(const float* values) const;
  // Narrows every cell to the value found.
  void adopt(const float* values);

 private:
  void copyUnlessItself(Matrix& target) const;
  void applyToEach(const std::function<float(float)>& function, Matrix& target) const;
};

// y + factor * x: the product is rounded, then the sum.
Cell saxpyStep(const Cell& y, float factor, const Cell& x);

// x * factor, rounded once, for every factor: 0 times NaN is NaN.
Cell sscalStep(const Cell& x, float factor);

}  // namespace reference

#endif
