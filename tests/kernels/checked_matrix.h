// A matrix and its model, which run the same operations.
#ifndef FACEFEATURE_TESTS_KERNELS_CHECKED_MATRIX_H
#define FACEFEATURE_TESTS_KERNELS_CHECKED_MATRIX_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "kernels/matrix.h"
#include "support/bits.h"
#include "support/random.h"
#include "support/reference_matrix.h"

namespace facefeature_test {

using facefeature::Matrix;

// Gives a new or used matrix this shape and these values, in storage order.
inline void fillMatrix(Matrix& matrix, int32_t rows, int32_t cols, int32_t order,
                       const std::vector<float>& values) {
  ASSERT_EQ(static_cast<size_t>(rows) * static_cast<size_t>(cols), values.size());
  matrix.resize(rows, cols);
  matrix.order = order;
  std::copy(values.begin(), values.end(), matrix.buffer);
}

// The values of a matrix row by row, whatever its storage order.
inline std::vector<float> valuesByRows(const Matrix& matrix) {
  std::vector<float> values;
  for (int32_t r = 0; r < matrix.rows; ++r) {
    for (int32_t c = 0; c < matrix.cols; ++c) {
      const int32_t index = matrix.order == 112 ? matrix.rows * c + r : matrix.cols * r + c;
      values.push_back(matrix.buffer[index]);
    }
  }
  return values;
}

inline ::testing::AssertionResult holdsValues(const Matrix& matrix,
                                              const std::vector<float>& wantedByRows) {
  const std::vector<float> got = valuesByRows(matrix);
  if (got.size() != wantedByRows.size()) {
    return ::testing::AssertionFailure() << matrix.rows << " x " << matrix.cols << ", wanted "
                                         << wantedByRows.size() << " values";
  }
  return sameFloats(wantedByRows.data(), got.data(), got.size());
}

inline ::testing::AssertionResult hasShape(const Matrix& matrix, int32_t rows, int32_t cols,
                                           int32_t order) {
  if (matrix.rows == rows && matrix.cols == cols && matrix.size == rows * cols &&
      matrix.order == order) {
    return ::testing::AssertionSuccess();
  }
  return ::testing::AssertionFailure()
         << matrix.rows << " x " << matrix.cols << ", size " << matrix.size << ", order "
         << matrix.order << ", wanted " << rows << " x " << cols << ", order " << order;
}

class CheckedMatrix {
 public:
  CheckedMatrix() = default;
  CheckedMatrix(int32_t rows, int32_t cols, int32_t order, const std::vector<float>& values) {
    become(rows, cols, order, values);
  }

  void become(int32_t rows, int32_t cols, int32_t order, const std::vector<float>& values) {
    fillMatrix(got, rows, cols, order, values);
    wanted = reference::Matrix(rows, cols, order, values);
    bufferBefore_ = got.buffer;
  }

  // Compares shape, order and values, and the address of the storage if it must not change. The
  // model then continues with the actual values.
  ::testing::AssertionResult agrees() {
    if (::testing::AssertionResult shape = hasShape(got, wanted.rows, wanted.cols, wanted.order);
        !shape) {
      return shape;
    }
    if (!wanted.replaced && got.buffer != bufferBefore_) {
      return ::testing::AssertionFailure() << "the storage was replaced";
    }
    ::testing::AssertionResult values = wanted.allows(got.buffer);
    wanted.adopt(got.buffer);
    bufferBefore_ = got.buffer;
    return values;
  }

  Matrix got;
  reference::Matrix wanted;

 private:
  float* bufferBefore_ = nullptr;
};

// Mostly ordinary numbers, with some difficult ones.
inline std::vector<float> valuesWithSpecials(Random& random, int32_t count,
                                             int32_t specialPercent) {
  std::vector<float> values(static_cast<size_t>(count));
  for (float& value : values) {
    value = random.chance(specialPercent) ? random.special() : random.normal();
  }
  return values;
}

inline int32_t randomOrder(Random& random) { return random.chance(50) ? 111 : 112; }

}  // namespace facefeature_test

#endif
