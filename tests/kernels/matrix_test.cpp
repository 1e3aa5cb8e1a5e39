// Shape, ownership, copying, transposing and reading.
#include "kernels/matrix.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <limits>
#include <memory>
#include <new>
#include <numeric>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "kernels/checked_matrix.h"
#include "support/bits.h"
#include "support/model_folder.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

static_assert(!std::is_polymorphic<Matrix>::value, "a plain value");
static_assert(offsetof(Matrix, buffer) < offsetof(Matrix, ownsBuffer) &&
                  offsetof(Matrix, ownsBuffer) < offsetof(Matrix, rows) &&
                  offsetof(Matrix, rows) < offsetof(Matrix, cols) &&
                  offsetof(Matrix, cols) < offsetof(Matrix, size) &&
                  offsetof(Matrix, size) < offsetof(Matrix, order),
              "fields in their order");

std::vector<float> counted(int32_t count) {
  std::vector<float> values(static_cast<size_t>(count));
  std::iota(values.begin(), values.end(), 1.0f);
  return values;
}

std::istringstream matrixStream(int32_t rows, int32_t cols, const std::vector<float>& values) {
  std::string bytes;
  appendNumber(bytes, rows);
  appendNumber(bytes, cols);
  appendFloats(bytes, values);
  return std::istringstream(bytes, std::ios::binary);
}

TEST(MatrixConstruction, DefaultIsEmptyAndOwning) {
  const Matrix matrix;
  EXPECT_EQ(nullptr, matrix.buffer);
  EXPECT_TRUE(matrix.ownsBuffer);
  EXPECT_TRUE(hasShape(matrix, 0, 0, 111));
}

TEST(MatrixConstruction, ShapeAllocatesByRows) {
  const Matrix matrix(3, 4);
  EXPECT_NE(nullptr, matrix.buffer);
  EXPECT_TRUE(matrix.ownsBuffer);
  EXPECT_TRUE(hasShape(matrix, 3, 4, 111));
}

TEST(MatrixConstruction, ZeroByFiveHasNoBuffer) {
  const Matrix matrix(0, 5);
  EXPECT_EQ(nullptr, matrix.buffer);
  EXPECT_TRUE(hasShape(matrix, 0, 5, 111));
}

TEST(MatrixConstruction, NegativeProductHasNoBuffer) {
  const Matrix matrix(-1, 5);
  EXPECT_EQ(nullptr, matrix.buffer);
  EXPECT_EQ(-5, matrix.size);
}

TEST(MatrixConstruction, MoreThan32BitsOfBytesIsExhaustedMemory) {
  EXPECT_THROW(Matrix(1 << 15, 1 << 15), std::bad_alloc);
  EXPECT_THROW(Matrix(40000, 40000), std::bad_alloc);
}

TEST(MatrixAllocation, RefusesNegativeCountsAndMoreThan32BitsOfBytes) {
  EXPECT_THROW(facefeature::allocateFloats(-1), std::bad_alloc);
  EXPECT_THROW(facefeature::allocateFloats(int64_t{1} << 30), std::bad_alloc);
  facefeature::releaseFloats(nullptr);
}

TEST(MatrixOwnership, DestroyedViewLeavesTheStorageAlone) {
  Matrix owner(2, 3);
  const std::vector<float> values = counted(6);
  fillMatrix(owner, 2, 3, 111, values);
  {
    const Matrix view = Matrix::view(owner.buffer + 3, 1, 3, 111);
    EXPECT_FALSE(view.ownsBuffer);
    EXPECT_TRUE(hasShape(view, 1, 3, 111));
    EXPECT_TRUE(holdsValues(view, {4, 5, 6}));
  }
  EXPECT_TRUE(holdsValues(owner, values));
}

TEST(MatrixResize, SameShapeKeepsTheOrderByColumns) {
  Matrix matrix;
  fillMatrix(matrix, 2, 6, 112, counted(12));
  const float* const buffer = matrix.buffer;
  Matrix other(2, 6);
  matrix.resizeLike(other);
  EXPECT_EQ(buffer, matrix.buffer);
  EXPECT_TRUE(hasShape(matrix, 2, 6, 112));
}

TEST(MatrixResize, SameCountKeepsBufferAndValuesAndGoesBackToRows) {
  Matrix matrix;
  const std::vector<float> values = counted(12);
  fillMatrix(matrix, 2, 6, 112, values);
  const float* const buffer = matrix.buffer;
  Matrix other(3, 4);
  matrix.resizeLike(other);
  EXPECT_EQ(buffer, matrix.buffer);
  EXPECT_TRUE(hasShape(matrix, 3, 4, 111));
  EXPECT_TRUE(sameFloats(values.data(), matrix.buffer, 12));
}

TEST(MatrixResize, AnotherCountAllocatesByRows) {
  Matrix matrix;
  fillMatrix(matrix, 2, 2, 112, counted(4));
  matrix.resize(5, 7);
  EXPECT_TRUE(hasShape(matrix, 5, 7, 111));
  fillMatrix(matrix, 5, 7, 111, counted(35));
  EXPECT_TRUE(holdsValues(matrix, counted(35)));
}

TEST(MatrixResize, ZeroCountStillAllocates) {
  Matrix matrix(2, 2);
  matrix.resize(0, 5);
  EXPECT_NE(nullptr, matrix.buffer);
  EXPECT_TRUE(hasShape(matrix, 0, 5, 111));
}

TEST(MatrixResize, SameEmptyCountKeepsTheNullBuffer) {
  Matrix matrix;
  matrix.resize(0, 5);
  EXPECT_EQ(nullptr, matrix.buffer);
  EXPECT_TRUE(hasShape(matrix, 0, 5, 111));
}

TEST(MatrixResize, TheOrderOfTheOtherMatrixIsNotCopied) {
  Matrix model;
  fillMatrix(model, 3, 2, 112, counted(6));
  Matrix matrix;
  matrix.resizeLike(model);
  EXPECT_TRUE(hasShape(matrix, 3, 2, 111));
}

TEST(MatrixResize, AnEqualShapeWithAnotherSizeIsLeftAlone) {
  Matrix matrix;
  fillMatrix(matrix, 2, 3, 112, counted(6));
  matrix.rows = 3;
  matrix.cols = 4;
  const float* const buffer = matrix.buffer;
  matrix.resize(3, 4);
  EXPECT_EQ(buffer, matrix.buffer);
  EXPECT_EQ(6, matrix.size);
  EXPECT_EQ(112, matrix.order);
}

TEST(MatrixResize, OwnershipIsNeitherCheckedNorChanged) {
  Matrix matrix;
  fillMatrix(matrix, 2, 3, 111, counted(6));
  matrix.ownsBuffer = false;
  matrix.resize(4, 4);
  EXPECT_FALSE(matrix.ownsBuffer);
  EXPECT_TRUE(hasShape(matrix, 4, 4, 111));
  matrix.ownsBuffer = true;
}

TEST(MatrixResize, ExhaustedMemoryLeavesTheBufferAndTheShape) {
  Matrix matrix;
  fillMatrix(matrix, 2, 3, 112, counted(6));
  const float* const buffer = matrix.buffer;
  EXPECT_THROW(matrix.resize(1 << 15, 1 << 15), std::bad_alloc);
  EXPECT_EQ(buffer, matrix.buffer);
  EXPECT_TRUE(hasShape(matrix, 2, 3, 112));
  EXPECT_TRUE(sameFloats(counted(6).data(), matrix.buffer, 6));
}

TEST(MatrixCopy, EqualOrdersCopyTheStorageAndTheFlag) {
  Matrix source;
  fillMatrix(source, 2, 3, 112, counted(6));
  Matrix target;
  fillMatrix(target, 2, 3, 112, std::vector<float>(6));
  source.copyTo(target);
  EXPECT_TRUE(hasShape(target, 2, 3, 112));
  EXPECT_TRUE(sameFloats(source.buffer, target.buffer, 6));
}

TEST(MatrixCopy, DifferentOrdersCopyElementsAndLeaveTheFlag) {
  Matrix source;
  fillMatrix(source, 2, 3, 112, counted(6));
  Matrix target(2, 3);
  source.copyTo(target);
  EXPECT_TRUE(hasShape(target, 2, 3, 111));
  EXPECT_TRUE(holdsValues(target, {1, 3, 5, 2, 4, 6}));
}

TEST(MatrixCopy, AnUnknownOrderIsTreatedAsRowsAndIsCopied) {
  Matrix source;
  fillMatrix(source, 2, 3, 7, counted(6));
  Matrix target;
  source.copyTo(target);
  EXPECT_TRUE(hasShape(target, 2, 3, 7));
  EXPECT_TRUE(holdsValues(target, counted(6)));
}

TEST(MatrixCopy, ElementsByRowsGoToEachSidesOwnRowStride) {
  Matrix source;
  fillMatrix(source, 2, 3, 111, counted(6));
  Matrix target;
  fillMatrix(target, 2, 5, 111, std::vector<float>(10, -1.0f));
  source.copyElementsTo(target);
  EXPECT_TRUE(hasShape(target, 2, 5, 111));
  EXPECT_TRUE(holdsValues(target, {1, 2, 3, -1, -1, 4, 5, 6, -1, -1}));
}

// Lines without elements have no storage, so there is no address to copy from or to.
TEST(MatrixCopy, LinesWithoutElementsAreNotCopied) {
  const Matrix source(5, 0);
  Matrix target(5, 0);
  source.copyElementsTo(target);
  EXPECT_EQ(nullptr, target.buffer);
  EXPECT_TRUE(hasShape(target, 5, 0, 111));
}

TEST(MatrixCopy, RandomShapesAgreeWithTheModel) {
  SeededRandom random;
  for (int round = 0; round < 300; ++round) {
    const int32_t rows = random.integer(0, 9), cols = random.integer(0, 9);
    CheckedMatrix source(rows, cols, randomOrder(random),
                         valuesWithSpecials(random, rows * cols, 10));
    const bool sameShape = random.chance(50);
    const int32_t oldRows = sameShape ? rows : random.integer(0, 9);
    const int32_t oldCols = sameShape ? cols : random.integer(0, 9);
    CheckedMatrix target(oldRows, oldCols, randomOrder(random),
                         valuesWithSpecials(random, oldRows * oldCols, 10));
    source.got.copyTo(target.got);
    source.wanted.copyTo(target.wanted);
    ASSERT_TRUE(target.agrees()) << "round " << round;
    ASSERT_TRUE(source.agrees()) << "round " << round;
  }
}

TEST(MatrixClone, IsByRowsAndOwnsItsStorage) {
  Matrix source;
  fillMatrix(source, 2, 3, 112, counted(6));
  const std::unique_ptr<Matrix> copy(source.clone());
  EXPECT_TRUE(hasShape(*copy, 2, 3, 111));
  EXPECT_TRUE(copy->ownsBuffer);
  EXPECT_NE(source.buffer, copy->buffer);
  EXPECT_TRUE(holdsValues(*copy, valuesByRows(source)));
}

TEST(MatrixClone, OfAViewOwnsItsStorage) {
  Matrix source;
  fillMatrix(source, 2, 3, 111, counted(6));
  const Matrix view = Matrix::view(source.buffer, 2, 3, 111);
  const std::unique_ptr<Matrix> copy(view.clone());
  EXPECT_TRUE(copy->ownsBuffer);
  EXPECT_NE(source.buffer, copy->buffer);
}

TEST(MatrixClone, OfNothingStillAllocates) {
  const Matrix source(0, 5);
  const std::unique_ptr<Matrix> copy(source.clone());
  EXPECT_NE(nullptr, copy->buffer);
  EXPECT_TRUE(hasShape(*copy, 0, 5, 111));
}

TEST(MatrixTranspose, OfRowsIsAnIndependentCopy) {
  Matrix source;
  fillMatrix(source, 2, 3, 111, counted(6));
  const std::unique_ptr<Matrix> result(source.transposed());
  EXPECT_TRUE(hasShape(*result, 3, 2, 111));
  EXPECT_TRUE(result->ownsBuffer);
  EXPECT_TRUE(holdsValues(*result, {1, 4, 2, 5, 3, 6}));
  result->buffer[0] = 99.0f;
  EXPECT_TRUE(holdsValues(source, counted(6)));
}

TEST(MatrixTranspose, OfColumnsSharesTheStorageAndLeavesItAliveWhenItDies) {
  Matrix source;
  fillMatrix(source, 2, 3, 112, counted(6));
  std::unique_ptr<Matrix> result(source.transposed());
  EXPECT_EQ(source.buffer, result->buffer);
  EXPECT_FALSE(result->ownsBuffer);
  EXPECT_TRUE(hasShape(*result, 3, 2, 111));
  EXPECT_TRUE(holdsValues(*result, counted(6)));
  result.reset();
  EXPECT_TRUE(sameFloats(counted(6).data(), source.buffer, 6));
}

TEST(MatrixTranspose, RandomShapesByRowsAgreeWithTheModel) {
  SeededRandom random;
  for (int round = 0; round < 100; ++round) {
    const int32_t rows = random.integer(1, 70), cols = random.integer(1, 70);
    CheckedMatrix source(rows, cols, 111, valuesWithSpecials(random, rows * cols, 5));
    const std::unique_ptr<Matrix> got(source.got.transposed());
    const reference::Matrix wanted = source.wanted.transposed();
    ASSERT_TRUE(hasShape(*got, cols, rows, 111));
    ASSERT_TRUE(wanted.allows(got->buffer));
    ASSERT_TRUE(source.agrees());
  }
}

// A header may declare any number of empty rows, and a loop over them takes seconds.
TEST(MatrixTranspose, OfManyEmptyRowsDoesNotIterateOverThem) {
  const Matrix source(std::numeric_limits<int32_t>::max(), 0);
  const auto start = std::chrono::steady_clock::now();
  for (int round = 0; round < 64; ++round) {
    const std::unique_ptr<Matrix> result(source.transposed());
    ASSERT_TRUE(hasShape(*result, 0, source.rows, 111));
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

TEST(MatrixRead, TwoByThreeComesRowByRow) {
  Matrix matrix;
  std::istringstream stream = matrixStream(2, 3, counted(6));
  matrix.readFrom(stream);
  EXPECT_TRUE(hasShape(matrix, 2, 3, 111));
  EXPECT_TRUE(matrix.ownsBuffer);
  EXPECT_TRUE(holdsValues(matrix, counted(6)));
}

TEST(MatrixRead, EveryBitPatternIsKept) {
  SeededRandom random;
  std::vector<float> values(64);
  for (float& value : values) value = floatOfBits(static_cast<uint32_t>(random.next()));
  Matrix matrix;
  std::istringstream stream = matrixStream(8, 8, values);
  matrix.readFrom(stream);
  EXPECT_EQ(0, std::memcmp(values.data(), matrix.buffer, 64 * sizeof(float)));
}

TEST(MatrixRead, SurplusIsIgnored) {
  Matrix matrix;
  std::istringstream stream = matrixStream(2, 3, counted(9));
  matrix.readFrom(stream);
  EXPECT_TRUE(holdsValues(matrix, counted(6)));
}

TEST(MatrixRead, FloatsThatAShortFileLacksAreZero) {
  Matrix matrix;
  std::istringstream stream = matrixStream(2, 3, counted(4));
  matrix.readFrom(stream);
  EXPECT_TRUE(hasShape(matrix, 2, 3, 111));
  EXPECT_TRUE(holdsValues(matrix, {1, 2, 3, 4, 0, 0}));
}

TEST(MatrixRead, HeaderWithoutFloatsGivesZeros) {
  Matrix matrix;
  std::istringstream stream = matrixStream(2, 2, {});
  matrix.readFrom(stream);
  EXPECT_TRUE(holdsValues(matrix, {0, 0, 0, 0}));
}

TEST(MatrixRead, AnIncompleteHeaderGivesAnEmptyMatrix) {
  for (const size_t length : {size_t{0}, size_t{3}, size_t{4}, size_t{7}}) {
    std::string bytes;
    appendNumber(bytes, 2);
    appendNumber(bytes, 3);
    std::istringstream stream(bytes.substr(0, length), std::ios::binary);
    Matrix matrix;
    matrix.rows = 4;
    matrix.cols = 5;
    matrix.order = 112;
    matrix.readFrom(stream);
    EXPECT_TRUE(hasShape(matrix, 0, 0, 111)) << length;
  }
}

TEST(MatrixRead, ZeroCountStillAllocates) {
  Matrix matrix;
  std::istringstream stream = matrixStream(0, 5, {});
  matrix.readFrom(stream);
  EXPECT_NE(nullptr, matrix.buffer);
  EXPECT_TRUE(hasShape(matrix, 0, 5, 111));
}

TEST(MatrixRead, TheResultIsByRowsAndOwnedWhateverTheFieldsSaid) {
  Matrix matrix;
  matrix.order = 112;
  matrix.ownsBuffer = false;
  std::istringstream stream = matrixStream(2, 3, counted(6));
  matrix.readFrom(stream);
  EXPECT_TRUE(hasShape(matrix, 2, 3, 111));
  EXPECT_TRUE(matrix.ownsBuffer);
}

TEST(MatrixRead, ImpossibleShapesAreExhaustedMemory) {
  const std::vector<std::vector<int32_t>> shapes = {
      {1 << 15, 1 << 15}, {40000, 40000}, {1 << 16, 1 << 16}, {-1, 5}, {5, -1}};
  for (const std::vector<int32_t>& shape : shapes) {
    Matrix matrix;
    std::istringstream stream = matrixStream(shape[0], shape[1], counted(4));
    EXPECT_THROW(matrix.readFrom(stream), std::bad_alloc) << shape[0] << " x " << shape[1];
  }
}

TEST(MatrixIndex, LeadingDimensionIsColsForOrder111Alone) {
  Matrix matrix(3, 4);
  EXPECT_EQ(4, matrix.leadingDimension());
  matrix.order = 112;
  EXPECT_EQ(3, matrix.leadingDimension());
  matrix.order = 7;
  EXPECT_EQ(3, matrix.leadingDimension());
}

}  // namespace
}  // namespace facefeature_test
