// Broadcasting a vector over a matrix, and reducing a matrix to one.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "kernels/checked_matrix.h"
#include "kernels/matrix.h"
#include "support/bits.h"
#include "support/reference_arithmetic.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr int kRounds = 800;

// A matrix, a vector that is no longer than the lines of the matrix (mostly equally long), and a
// target.
class Broadcast {
 public:
  Broadcast(Random& random, int32_t longest) {
    const int32_t rows = random.integer(1, longest), cols = random.integer(1, longest);
    matrix.become(rows, cols, randomOrder(random), valuesWithSpecials(random, rows * cols, 10));
    const bool isRow = random.chance(50);
    const int32_t line = isRow ? cols : rows;
    int32_t length = random.chance(75) ? line : random.integer(1, line);
    // A single element is always a row; the shortest column has two elements.
    int32_t vectorRows = isRow ? 1 : length;
    int32_t vectorCols = isRow ? length : 1;
    if (!isRow && length % 2 == 0 && random.chance(25)) {
      vectorRows = 2;  // a column by the rule of rows; values in storage order
      vectorCols = length / 2;
    }
    vector.become(vectorRows, vectorCols, randomOrder(random),
                  valuesWithSpecials(random, length, 10));
    inPlace = random.chance(40);
    const bool sameShape = random.chance(50);
    const int32_t oldRows = sameShape ? rows : random.integer(0, longest);
    const int32_t oldCols = sameShape ? cols : random.integer(0, longest);
    separate.become(oldRows, oldCols, randomOrder(random),
                    valuesWithSpecials(random, oldRows * oldCols, 10));
  }

  CheckedMatrix& target() { return inPlace ? matrix : separate; }

  // NaN factors have a separate test.
  void keepNaNsOutOfTheVector() {
    for (int32_t i = 0; i < vector.got.size; ++i) {
      if (std::isnan(vector.got.buffer[i])) vector.got.buffer[i] = 1.5f;
    }
    vector.wanted.adopt(vector.got.buffer);
  }

  ::testing::AssertionResult agree() {
    if (::testing::AssertionResult result = matrix.agrees(); !result) return result << " (this)";
    if (::testing::AssertionResult result = vector.agrees(); !result) return result << " (vector)";
    if (::testing::AssertionResult result = separate.agrees(); !result)
      return result << " (target)";
    return ::testing::AssertionSuccess();
  }

  CheckedMatrix matrix, vector, separate;
  bool inPlace;
};

TEST(AddBroadcast, RandomShapesAgreeWithTheModel) {
  SeededRandom random;
  for (int round = 0; round < kRounds; ++round) {
    Broadcast broadcast(random, round % 10 == 0 ? 70 : 7);
    const float factor = random.chance(30)   ? 1.0f
                         : random.chance(30) ? -1.0f
                         : random.chance(15) ? random.special()
                                             : random.normal();
    broadcast.matrix.got.addBroadcast(broadcast.vector.got, factor, broadcast.target().got);
    broadcast.matrix.wanted.addBroadcast(broadcast.vector.wanted, factor,
                                         broadcast.target().wanted);
    ASSERT_TRUE(broadcast.agree()) << "round " << round << ", factor " << factor;
  }
}

TEST(MultiplyBroadcast, RandomShapesAgreeWithTheModel) {
  SeededRandom random;
  for (int round = 0; round < kRounds; ++round) {
    Broadcast broadcast(random, round % 10 == 0 ? 70 : 7);
    broadcast.keepNaNsOutOfTheVector();
    broadcast.matrix.got.multiplyBroadcast(broadcast.vector.got, broadcast.target().got);
    broadcast.matrix.wanted.multiplyBroadcast(broadcast.vector.wanted, broadcast.target().wanted);
    ASSERT_TRUE(broadcast.agree()) << "round " << round;
  }
}

TEST(DivideBroadcast, RandomShapesAgreeWithTheModel) {
  SeededRandom random;
  for (int round = 0; round < kRounds; ++round) {
    Broadcast broadcast(random, round % 10 == 0 ? 70 : 7);
    broadcast.keepNaNsOutOfTheVector();
    broadcast.matrix.got.divideBroadcast(broadcast.vector.got, broadcast.target().got);
    broadcast.matrix.wanted.divideBroadcast(broadcast.vector.wanted, broadcast.target().wanted);
    ASSERT_TRUE(broadcast.agree()) << "round " << round;
  }
}

TEST(AddBroadcast, OneByOneVectorTouchesTheFirstElementOfEachRowOnly) {
  Matrix matrix, vector;
  fillMatrix(matrix, 3, 4, 111, std::vector<float>(12));
  fillMatrix(vector, 1, 1, 111, {5});
  matrix.addBroadcast(vector, 2.0f, matrix);
  EXPECT_TRUE(holdsValues(matrix, {10, 0, 0, 0, 10, 0, 0, 0, 10, 0, 0, 0}));
}

TEST(AddBroadcast, ColumnVectorAddsElementIToAllOfRowI) {
  Matrix matrix, vector;
  fillMatrix(matrix, 4, 3, 111, std::vector<float>(12, 1.0f));
  fillMatrix(vector, 4, 1, 111, {10, 20, 30, 40});
  matrix.addBroadcast(vector, 1.0f, matrix);
  EXPECT_TRUE(holdsValues(matrix, {11, 11, 11, 21, 21, 21, 31, 31, 31, 41, 41, 41}));
}

TEST(AddBroadcast, VectorWithoutElementsChangesNothing) {
  Matrix matrix;
  const std::vector<float> values = {1, 2, 3, 4, 5, 6};
  fillMatrix(matrix, 2, 3, 111, values);
  const Matrix vector;
  matrix.addBroadcast(vector, 1.0f, matrix);
  EXPECT_TRUE(holdsValues(matrix, values));
}

// A matrix without elements has no storage to traverse.
TEST(AddBroadcast, LinesWithoutElementsAreLeftAlone) {
  Matrix matrix(5, 0);
  matrix.order = 112;
  const Matrix vector(1, 0);
  matrix.addBroadcast(vector, 2.0f, matrix);
  EXPECT_EQ(nullptr, matrix.buffer);
  EXPECT_TRUE(hasShape(matrix, 5, 0, 112));
}

TEST(AddBroadcast, RowVectorLongerThanTheLineRunsOnIntoTheNext) {
  // Two rows of a larger storage, so that the surplus of the last row stays inside.
  Matrix storage, vector;
  fillMatrix(storage, 1, 8, 111, std::vector<float>(8));
  Matrix view = Matrix::view(storage.buffer, 2, 3, 111);
  fillMatrix(vector, 1, 4, 111, {1, 10, 100, 1000});
  view.addBroadcast(vector, 1.0f, view);
  EXPECT_TRUE(holdsValues(storage, {1, 10, 100, 1001, 10, 100, 1000, 0}));
}

TEST(AddBroadcast, FactorOneAddsInOneRoundingWhateverThePackageFuses) {
  SeededRandom random;
  for (const int32_t order : {111, 112}) {
    for (const bool isRow : {true, false}) {
      const int32_t rows = 37, cols = 53;
      const std::vector<float> values = valuesWithSpecials(random, rows * cols, 5);
      const int32_t length = isRow ? cols : rows;
      const std::vector<float> added = valuesWithSpecials(random, length, 5);
      Matrix matrix, vector;
      fillMatrix(matrix, rows, cols, order, values);
      fillMatrix(vector, isRow ? 1 : length, isRow ? length : 1, 111, added);
      const std::vector<float> before = valuesByRows(matrix);
      matrix.addBroadcast(vector, 1.0f, matrix);
      std::vector<float> wanted;
      for (int32_t i = 0; i < rows * cols; ++i) {
        const int32_t k = isRow ? i % cols : i / cols;
        wanted.push_back(
            reference::sum(before[static_cast<size_t>(i)], added[static_cast<size_t>(k)]));
      }
      EXPECT_TRUE(holdsValues(matrix, wanted)) << order << (isRow ? " row" : " column");
    }
  }
}

TEST(MultiplyBroadcast, OneByOneVectorScalesTheFirstElementsOfTheStorage) {
  Matrix matrix, vector;
  fillMatrix(matrix, 3, 4, 111, std::vector<float>(12, 1.0f));
  fillMatrix(vector, 1, 1, 111, {5});
  matrix.multiplyBroadcast(vector, matrix);
  EXPECT_TRUE(holdsValues(matrix, {5, 5, 5, 1, 1, 1, 1, 1, 1, 1, 1, 1}));
}

TEST(MultiplyBroadcast, MatrixWithoutLinesIsLeftAlone) {
  Matrix matrix(0, 5);
  Matrix vector;
  fillMatrix(vector, 1, 5, 111, {1, 2, 3, 4, 5});
  matrix.multiplyBroadcast(vector, matrix);
  EXPECT_EQ(nullptr, matrix.buffer);
  EXPECT_TRUE(hasShape(matrix, 0, 5, 111));
}

TEST(MultiplyBroadcast, NaNFactorMakesNaNs) {
  for (const int32_t rows : {1, 7, 40}) {
    Matrix matrix, vector;
    fillMatrix(matrix, rows, 2, 111, std::vector<float>(static_cast<size_t>(2 * rows), 3.0f));
    fillMatrix(vector, 1, 2, 111, {2.0f, kNaN});
    std::vector<float> wanted;
    for (int32_t r = 0; r < rows; ++r) wanted.insert(wanted.end(), {6.0f, kNaN});
    matrix.multiplyBroadcast(vector, matrix);
    EXPECT_TRUE(holdsValues(matrix, wanted)) << rows;
  }
}

TEST(DivideBroadcast, AlongTheStorageItIsADivision) {
  // 5 / 3 and 5 * (1 / 3) differ in the last bit.
  ASSERT_NE(5.0f / 3.0f, reference::product(5.0f, reference::quotient(1.0f, 3.0f)));
  Matrix matrix, vector;
  fillMatrix(matrix, 2, 2, 111, {5, 5, 5, 5});
  fillMatrix(vector, 1, 2, 111, {3, 3});
  matrix.divideBroadcast(vector, matrix);
  EXPECT_TRUE(holdsValues(matrix, std::vector<float>(4, 5.0f / 3.0f)));
}

TEST(DivideBroadcast, AcrossTheStorageItIsAProductWithARoundedReciprocal) {
  Matrix matrix, vector;
  fillMatrix(matrix, 2, 2, 111, {5, 5, 5, 5});
  fillMatrix(vector, 2, 1, 111, {3, 3});
  matrix.divideBroadcast(vector, matrix);
  const float wanted = reference::product(5.0f, reference::quotient(1.0f, 3.0f));
  EXPECT_TRUE(holdsValues(matrix, std::vector<float>(4, wanted)));
  EXPECT_TRUE(holdsValues(vector, {3, 3}));
}

TEST(DivideBroadcast, AnotherTargetOnTheDirectPathGetsOnlyAsManyElementsPerLineAsTheVectorHas) {
  Matrix matrix, vector, target;
  fillMatrix(matrix, 2, 3, 111, {2, 4, 6, 8, 10, 12});
  fillMatrix(vector, 1, 2, 111, {2, 4});
  fillMatrix(target, 2, 3, 111, std::vector<float>(6, -1.0f));
  matrix.divideBroadcast(vector, target);
  EXPECT_TRUE(holdsValues(target, {1, 1, -1, 4, 2.5f, -1}));
}

TEST(DivideBroadcast, OneByOneVectorDividesTheFirstElementOfEachRowOnly) {
  Matrix matrix, vector;
  fillMatrix(matrix, 3, 2, 111, {10, 10, 10, 10, 10, 10});
  fillMatrix(vector, 1, 1, 111, {4});
  matrix.divideBroadcast(vector, matrix);
  EXPECT_TRUE(holdsValues(matrix, {2.5f, 10, 2.5f, 10, 2.5f, 10}));
}

TEST(DivideBroadcast, NaNDivisorMakesNaNsAlongTheStorageAndAcrossIt) {
  Matrix matrix, row, column;
  fillMatrix(matrix, 2, 2, 111, {1, 2, 3, 4});
  fillMatrix(row, 1, 2, 111, {1, kNaN});
  fillMatrix(column, 2, 1, 111, {1, kNaN});
  Matrix along, across;
  matrix.divideBroadcast(row, along);
  matrix.divideBroadcast(column, across);
  EXPECT_TRUE(holdsValues(along, {1, kNaN, 3, kNaN}));
  EXPECT_TRUE(holdsValues(across, {1, 2, kNaN, kNaN}));
}

TEST(Reduce, RandomShapesAgreeWithTheModel) {
  SeededRandom random;
  for (int round = 0; round < kRounds; ++round) {
    const int32_t rows = random.integer(0, 40), cols = random.integer(0, 40);
    CheckedMatrix matrix(rows, cols, randomOrder(random),
                         valuesWithSpecials(random, rows * cols, random.chance(50) ? 10 : 0));
    const int32_t oldRows = random.integer(0, 6), oldCols = random.integer(0, 6);
    CheckedMatrix target(oldRows, oldCols, randomOrder(random),
                         valuesWithSpecials(random, oldRows * oldCols, 10));
    const int32_t axis = random.integer(-1, 3);
    const float initial = random.chance(30) ? random.special() : random.normal();
    const int32_t function = random.integer(0, 2);
    if (function == 0) {
      matrix.got.reduce(axis, target.got, facefeature::elementAdd, initial);
      matrix.wanted.reduce(axis, target.wanted, reference::sum, initial);
    } else if (function == 1) {
      matrix.got.reduce(axis, target.got, facefeature::elementMax, initial);
      matrix.wanted.reduce(axis, target.wanted, reference::greater, initial);
    } else {
      // The element is the first argument. The function is not symmetric, so swapped arguments are
      // detected.
      matrix.got.reduce(
          axis, target.got, [](float a, float b) { return a - 0.5f * b; }, initial);
      matrix.wanted.reduce(
          axis, target.wanted,
          [](float a, float b) { return reference::sum(a, -reference::product(0.5f, b)); },
          initial);
    }
    ASSERT_TRUE(target.agrees()) << "round " << round << ", axis " << axis;
    ASSERT_TRUE(matrix.agrees()) << "round " << round;
  }
}

TEST(Reduce, SumsStrictlyInAscendingOrderOfIndex) {
  // Each 1 is lost against 2^24, unless the sum is pairwise or starts from the other end.
  Matrix matrix, sums;
  fillMatrix(matrix, 1, 5, 111, {16777216.0f, 1, 1, 1, 1});
  matrix.reduce(1, sums, facefeature::elementAdd, 0.0f);
  EXPECT_TRUE(hasShape(sums, 1, 1, 111));
  EXPECT_SAME_FLOAT(16777216.0f, sums.buffer[0]);
}

TEST(Reduce, MaximumOfARowOfNaNsIsTheInitialValue) {
  Matrix matrix, maxima;
  fillMatrix(matrix, 2, 3, 111, {kNaN, kNaN, kNaN, kNaN, 1, kNaN});
  matrix.reduce(1, maxima, facefeature::elementMax, -7.0f);
  EXPECT_TRUE(holdsValues(maxima, {-7, 1}));
}

TEST(Reduce, LineOfZeroLengthYieldsTheInitialValue) {
  const Matrix matrix(3, 0);
  Matrix sums;
  matrix.reduce(1, sums, facefeature::elementAdd, 4.0f);
  EXPECT_TRUE(hasShape(sums, 3, 1, 111));
  EXPECT_TRUE(holdsValues(sums, {4, 4, 4}));
}

TEST(Reduce, TargetOfTheSameCountKeepsItsStorage) {
  Matrix matrix, target;
  fillMatrix(matrix, 3, 2, 111, {1, 2, 3, 4, 5, 6});
  fillMatrix(target, 1, 3, 112, {0, 0, 0});
  const float* const buffer = target.buffer;
  matrix.reduce(1, target, facefeature::elementAdd, 0.0f);
  EXPECT_EQ(buffer, target.buffer);
  EXPECT_TRUE(hasShape(target, 3, 1, 111));
  EXPECT_TRUE(holdsValues(target, {3, 7, 11}));
}

}  // namespace
}  // namespace facefeature_test
