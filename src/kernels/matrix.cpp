#include "kernels/matrix.h"

#include <cstring>
#include <istream>
#include <limits>
#include <memory>
#include <new>

namespace facefeature {
namespace {

// rows times cols, without overflow for any two 32-bit numbers.
int64_t elementCount(int32_t rows, int32_t cols) { return static_cast<int64_t>(rows) * cols; }

size_t floatBytes(int64_t count) { return static_cast<size_t>(count) * sizeof(float); }

bool readInt(std::istream& stream, int32_t& value) {
  return !stream.read(reinterpret_cast<char*>(&value), sizeof value).fail();
}

}  // namespace

float* allocateFloats(int64_t count) {
  constexpr int64_t kMaxFloats = std::numeric_limits<uint32_t>::max() / sizeof(float);
  if (count < 0 || count > kMaxFloats) throw std::bad_alloc();
  return new float[static_cast<size_t>(count)];
}

void releaseFloats(float* floats) { delete[] floats; }

Matrix::Matrix() : buffer(nullptr), ownsBuffer(true), rows(0), cols(0), size(0), order(kRowMajor) {}

Matrix::Matrix(int32_t rowCount, int32_t columnCount)
    : buffer(nullptr), ownsBuffer(true), rows(rowCount), cols(columnCount), order(kRowMajor) {
  const int64_t count = elementCount(rows, cols);
  if (count >= 1) buffer = allocateFloats(count);
  size = static_cast<int32_t>(count);
}

Matrix::~Matrix() {
  if (ownsBuffer) releaseFloats(buffer);
}

Matrix::Matrix(float* storage, int32_t viewRows, int32_t viewCols, int32_t viewOrder)
    : buffer(storage),
      ownsBuffer(false),
      rows(viewRows),
      cols(viewCols),
      size(viewRows * viewCols),
      order(viewOrder) {}

Matrix Matrix::view(float* storage, int32_t rows, int32_t cols, int32_t order) {
  return Matrix(storage, rows, cols, order);
}

void Matrix::readFrom(std::istream& stream) {
  if (ownsBuffer) releaseFloats(buffer);
  buffer = nullptr;
  ownsBuffer = true;
  order = kRowMajor;
  rows = cols = size = 0;
  int32_t fileRows = 0;
  int32_t fileCols = 0;
  if (!readInt(stream, fileRows) || !readInt(stream, fileCols)) fileRows = fileCols = 0;
  const int64_t count = elementCount(fileRows, fileCols);
  // Two negative numbers have a valid product but are not a shape.
  if (fileRows < 0 && fileCols < 0) throw std::bad_alloc();
  buffer = allocateFloats(count);
  rows = fileRows;
  cols = fileCols;
  size = static_cast<int32_t>(count);
  // Floats missing from the file are zero: uninitialised memory must not reach a result.
  char* const bytes = reinterpret_cast<char*>(buffer);
  const std::streamsize wanted = static_cast<std::streamsize>(floatBytes(count));
  stream.read(bytes, wanted);
  std::memset(bytes + stream.gcount(), 0, static_cast<size_t>(wanted - stream.gcount()));
}

void Matrix::resize(int32_t wantedRows, int32_t wantedCols) {
  if (rows == wantedRows && cols == wantedCols) return;
  replaceBuffer(wantedRows, wantedCols);
}

void Matrix::resizeLike(const Matrix& other) { resize(other.rows, other.cols); }

void Matrix::replaceBuffer(int32_t wantedRows, int32_t wantedCols) {
  const int64_t count = elementCount(wantedRows, wantedCols);
  if (size != count) {
    // Released last: if memory runs out, the matrix is unchanged and its buffer still valid.
    float* const replacement = allocateFloats(count);
    releaseFloats(buffer);
    buffer = replacement;
  }
  size = static_cast<int32_t>(count);
  rows = wantedRows;
  cols = wantedCols;
  order = kRowMajor;
}

void Matrix::copyTo(Matrix& target) const {
  target.resizeLike(*this);
  if (isColumnMajor() == target.isColumnMajor()) {
    if (size > 0) std::memmove(target.buffer, buffer, floatBytes(size));
    target.order = order;
    return;
  }
  copyElementsTo(target);
}

void Matrix::copyElementsTo(Matrix& target) const {
  // Without columns the buffer may be null, and memcpy takes no null, not even for zero bytes.
  if (cols < 1) return;
  if (!isColumnMajor() && !target.isColumnMajor()) {
    for (int32_t r = 0; r < rows; ++r) {
      std::memmove(target.buffer + target.indexOf(r, 0), buffer + indexOf(r, 0), floatBytes(cols));
    }
    return;
  }
  for (int32_t r = 0; r < rows; ++r) {
    for (int32_t c = 0; c < cols; ++c) {
      target.buffer[target.indexOf(r, c)] = buffer[indexOf(r, c)];
    }
  }
}

Matrix* Matrix::clone() const {
  std::unique_ptr<Matrix> copy(new Matrix());
  copy->buffer = allocateFloats(elementCount(rows, cols));
  copy->rows = rows;
  copy->cols = cols;
  copy->size = static_cast<int32_t>(elementCount(rows, cols));
  copyTo(*copy);
  return copy.release();
}

Matrix* Matrix::transposed() const {
  if (isColumnMajor()) {
    return new Matrix(buffer, cols, rows, kRowMajor);
  }
  std::unique_ptr<Matrix> moved(new Matrix(cols, rows));
  // The header of a file may declare any number of empty rows.
  if (size < 1) return moved.release();
  for (int32_t r = 0; r < rows; ++r) {
    for (int32_t c = 0; c < cols; ++c) moved->buffer[moved->indexOf(c, r)] = buffer[indexOf(r, c)];
  }
  return moved.release();
}

}  // namespace facefeature
