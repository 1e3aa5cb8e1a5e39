#include "support/reference_matrix.h"

#include <cmath>
#include <stdexcept>
#include <utility>

#include "support/bits.h"
#include "support/reference_arithmetic.h"

namespace reference {
namespace {

using facefeature_test::sameBits;

void addValue(Cell& cell, float value) {
  for (const float present : cell) {
    if (sameBits(present, value)) return;
  }
  cell.push_back(value);
}

// The results for every combination of possible values; an undefined operand gives an undefined
// one.
Cell combine(const Cell& a, const Cell& b, const Binary& function) {
  Cell result;
  for (const float left : a) {
    for (const float right : b) addValue(result, function(left, right));
  }
  return result;
}

Cell known(float value) { return Cell{value}; }

}  // namespace

Cell saxpyStep(const Cell& y, float factor, const Cell& x) {
  Cell result;
  for (const float old : y) {
    for (const float added : x) {
      addValue(result, sum(old, product(factor, added)));
    }
  }
  return result;
}

Cell sscalStep(const Cell& x, float factor) {
  Cell result;
  for (const float old : x) {
    addValue(result, product(old, factor));
  }
  return result;
}

Matrix::Matrix(int32_t wantedRows, int32_t wantedCols, int32_t wantedOrder,
               const std::vector<float>& values)
    : rows(wantedRows), cols(wantedCols), size(wantedRows * wantedCols), order(wantedOrder) {
  for (const float value : values) cells.push_back(known(value));
  if (cells.size() != static_cast<size_t>(size)) throw std::logic_error("values of a model");
}

int32_t Matrix::indexOf(int32_t r, int32_t c) const {
  return byColumns() ? r + c * rows : r * cols + c;
}

void Matrix::resize(int32_t wantedRows, int32_t wantedCols) {
  if (wantedRows == rows && wantedCols == cols) return;
  const int32_t wantedSize = wantedRows * wantedCols;
  if (wantedSize != size) {
    cells.assign(static_cast<size_t>(wantedSize), Cell());
    replaced = true;
  }
  rows = wantedRows;
  cols = wantedCols;
  size = wantedSize;
  order = kByRows;
}

void Matrix::copyTo(Matrix& target) const {
  target.resize(rows, cols);
  if (byColumns() != target.byColumns()) {
    copyElementsTo(target);
    return;
  }
  for (size_t i = 0; i < static_cast<size_t>(size); ++i) target.cells.at(i) = cells.at(i);
  target.order = order;
}

void Matrix::copyElementsTo(Matrix& target) const {
  for (int32_t c = 0; c < cols; ++c) {
    for (int32_t r = 0; r < rows; ++r) {
      target.cells.at(static_cast<size_t>(target.indexOf(r, c))) =
          cells.at(static_cast<size_t>(indexOf(r, c)));
    }
  }
}

Matrix Matrix::clone() const {
  Matrix copy;
  copy.resize(rows, cols);
  copyTo(copy);
  return copy;
}

Matrix Matrix::transposed() const {
  Matrix result;
  result.rows = cols;
  result.cols = rows;
  result.size = size;
  for (int32_t r = 0; r < cols; ++r) {
    for (int32_t c = 0; c < rows; ++c)
      result.cells.push_back(cells.at(static_cast<size_t>(indexOf(c, r))));
  }
  return result;
}

void Matrix::copyUnlessItself(Matrix& target) const {
  if (&target != this) copyTo(target);
}

void Matrix::addScaled(const Matrix& other, float factor, Matrix& target) const {
  const bool alike = byColumns() == other.byColumns() && byColumns() == target.byColumns();
  if (!alike) {
    target.resize(rows, cols);
    if (factor == 1.0f) {
      combineElements(other, sum, target);
    } else {
      mixElements(other, factor, target);
    }
    return;
  }
  copyUnlessItself(target);
  for (size_t i = 0; i < static_cast<size_t>(size); ++i) {
    target.cells.at(i) = saxpyStep(target.cells.at(i), factor, other.cells.at(i));
  }
}

void Matrix::applyToEach(const std::function<float(float)>& function, Matrix& target) const {
  target.resize(rows, cols);
  for (size_t i = 0; i < static_cast<size_t>(size); ++i) {
    target.cells.at(i) =
        combine(cells.at(i), known(0.0f), [&](float x, float) { return function(x); });
  }
}

void Matrix::addScalar(float value, Matrix& target) const {
  applyToEach([value](float x) { return sum(value, x); }, target);
}

void Matrix::maxWithScalar(float value, Matrix& target) const {
  applyToEach([value](float x) { return greater(x, value); }, target);
}

void Matrix::maxElements(const Matrix& other, Matrix& target) const {
  target.resize(rows, cols);
  combineElements(other, greater, target);
}

void Matrix::multiplyElements(const Matrix& other, Matrix& target) const {
  target.resize(rows, cols);
  if (other.byColumns() != byColumns()) {
    combineElements(other, product, target);
    return;
  }
  for (size_t i = 0; i < static_cast<size_t>(size); ++i) {
    target.cells.at(i) = combine(cells.at(i), other.cells.at(i), product);
  }
}

void Matrix::combineElements(const Matrix& other, const Binary& function, Matrix& target) const {
  // Into fresh cells first. This does not change the result, so it detects code that works in
  // place.
  std::vector<Cell> results = target.cells;
  for (int32_t c = 0; c < cols; ++c) {
    for (int32_t r = 0; r < rows; ++r) {
      results.at(static_cast<size_t>(target.indexOf(r, c))) =
          combine(cells.at(static_cast<size_t>(indexOf(r, c))),
                  other.cells.at(static_cast<size_t>(other.indexOf(r, c))), function);
    }
  }
  target.cells = std::move(results);
}

void Matrix::mixElements(const Matrix& other, float factor, Matrix& target) const {
  combineElements(
      other, [factor](float mine, float theirs) { return sum(product(theirs, factor), mine); },
      target);
}

void Matrix::addBroadcast(const Matrix& vector, float factor, Matrix& target) const {
  copyUnlessItself(target);
  const bool isRow = vector.rows == 1;
  const int32_t lines = isRow ? target.rows : target.cols;
  for (int32_t line = 0; line < lines; ++line) {
    for (int32_t k = 0; k < vector.size; ++k) {
      const int32_t where = isRow ? target.indexOf(line, k) : target.indexOf(k, line);
      Cell& cell = target.cells.at(static_cast<size_t>(where));
      cell = saxpyStep(cell, factor, vector.cells.at(static_cast<size_t>(k)));
    }
  }
}

void Matrix::multiplyBroadcast(const Matrix& vector, Matrix& target) const {
  copyUnlessItself(target);
  const bool isRow = vector.rows == 1;
  const int32_t count = isRow ? target.rows : target.cols;
  // A vector applied along the storage repeats after its own length, not after the length of the
  // target's line.
  const bool runsAlong = isRow != target.byColumns();
  for (int32_t k = 0; k < vector.size; ++k) {
    const Cell& factors = vector.cells.at(static_cast<size_t>(k));
    if (factors.size() != 1) throw std::logic_error("a factor of the model is in doubt");
    for (int32_t i = 0; i < count; ++i) {
      const int32_t where = runsAlong ? k + i * vector.size : k * count + i;
      Cell& cell = target.cells.at(static_cast<size_t>(where));
      cell = sscalStep(cell, factors.front());
    }
  }
}

void Matrix::divideBroadcast(const Matrix& vector, Matrix& target) const {
  if (&target != this) target.resize(rows, cols);
  const bool isRow = vector.rows == 1;
  if (byColumns() == target.byColumns() && isRow != byColumns()) {
    const int32_t lines = byColumns() ? cols : rows;
    const int32_t lineLength = byColumns() ? rows : cols;
    for (int32_t line = 0; line < lines; ++line) {
      for (int32_t k = 0; k < vector.size; ++k) {
        const size_t where = static_cast<size_t>(line * lineLength + k);
        target.cells.at(where) =
            combine(cells.at(where), vector.cells.at(static_cast<size_t>(k)), quotient);
      }
    }
    return;
  }
  Matrix reciprocals = vector.clone();
  for (Cell& cell : reciprocals.cells) cell = combine(known(1.0f), cell, quotient);
  multiplyBroadcast(reciprocals, target);
}

void Matrix::reduce(int32_t axis, Matrix& target, const Binary& function, float initial) const {
  target.resize(axis == 0 ? 1 : rows, axis == 0 ? cols : 1);
  const int32_t lines = axis == 0 ? cols : rows;
  const int32_t length = axis == 0 ? rows : cols;
  for (int32_t line = 0; line < lines; ++line) {
    Cell accumulator = known(initial);
    for (int32_t k = 0; k < length; ++k) {
      const int32_t where = axis == 0 ? indexOf(k, line) : indexOf(line, k);
      accumulator = combine(cells.at(static_cast<size_t>(where)), accumulator, function);
    }
    // For a vector, both orders store element i at index i.
    target.cells.at(static_cast<size_t>(line)) = accumulator;
  }
}

void Matrix::applyFunction(int32_t code, Matrix& target) const {
  target.resize(rows, cols);
  switch (code) {
    case 0:
      applyToEach([](float x) { return rounded(std::tanh(static_cast<double>(x))); }, target);
      break;
    case 1:
      applyToEach([](float x) { return quotient(1.0f, x); }, target);
      break;
    case 2:
      applyToEach([](float x) { return product(x, x); }, target);
      break;
    case 3:
      applyToEach([](float x) { return std::copysign(x, 1.0f); }, target);
      break;
    case 4:
      applyToEach(exponential, target);
      break;
    case 5:
      applyToEach([](float x) { return rounded(std::log(static_cast<double>(x))); }, target);
      break;
    case 6:
    case 7:
      for (Cell& cell : target.cells) cell = known(code == 6 ? 0.0f : 1.0f);
      break;
    case 8:
      copyUnlessItself(target);
      target.applyToEach([](float x) { return product(x, 0.5f); }, target);
      target.applyFunction(0, target);
      target.applyToEach([](float x) { return product(sum(1.0f, x), 0.5f); }, target);
      break;
    case 9:
      copyUnlessItself(target);
      target.applyToEach([](float x) { return product(x, -1.0f); }, target);
      target.applyFunction(4, target);
      target.applyToEach([](float x) { return quotient(1.0f, sum(1.0f, x)); }, target);
      break;
    case 10:
      applyToEach([](float x) { return x > 0.0f ? 1.0f : -1.0f; }, target);
      break;
    default:
      break;
  }
}

::testing::AssertionResult Matrix::allows(const float* values) const {
  for (size_t i = 0; i < cells.size(); ++i) {
    const Cell& cell = cells[i];
    bool allowed = cell.empty();
    for (const float value : cell) allowed = allowed || sameBits(value, values[i]);
    if (allowed) continue;
    ::testing::AssertionResult failure = ::testing::AssertionFailure();
    failure << "place " << i << " of " << cells.size() << " (" << rows << " x " << cols
            << ", order " << order << ") is " << ::testing::PrintToString(values[i]) << " (0x"
            << std::hex << facefeature_test::bitsOf(values[i]) << "), wanted";
    for (const float value : cell) {
      failure << " " << ::testing::PrintToString(value) << " (0x" << facefeature_test::bitsOf(value)
              << ")";
    }
    return failure;
  }
  return ::testing::AssertionSuccess();
}

void Matrix::adopt(const float* values) {
  for (size_t i = 0; i < cells.size(); ++i) cells[i] = known(values[i]);
  replaced = false;
}

}  // namespace reference
