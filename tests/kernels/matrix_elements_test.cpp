// Element-wise operations and the unary functions.
#include "kernels/matrix.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "kernels/checked_matrix.h"
#include "support/bits.h"
#include "support/reference_arithmetic.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

// Operands of one shape, and a target that often has a different shape or is the first operand.
class Operands {
 public:
  explicit Operands(Random& random) {
    const int32_t rows = random.integer(0, 12), cols = random.integer(0, 12);
    const int32_t count = rows * cols;
    mine.become(rows, cols, randomOrder(random), valuesWithSpecials(random, count, 15));
    theirs.become(rows, cols, randomOrder(random), valuesWithSpecials(random, count, 15));
    inPlace = random.chance(25);
    const bool sameShape = random.chance(60);
    const int32_t oldRows = sameShape ? rows : random.integer(0, 12);
    const int32_t oldCols = sameShape ? cols : random.integer(0, 12);
    separate.become(oldRows, oldCols, randomOrder(random),
                    valuesWithSpecials(random, oldRows * oldCols, 15));
  }

  CheckedMatrix& target() { return inPlace ? mine : separate; }

  // Gives a separate target the shape of the first operand, for operations that don't resize.
  void sizeTarget() {
    separate.got.resizeLike(mine.got);
    separate.wanted.resize(mine.wanted.rows, mine.wanted.cols);
    static_cast<void>(separate.agrees());
  }

  ::testing::AssertionResult agree() {
    if (::testing::AssertionResult result = mine.agrees(); !result) return result << " (this)";
    if (::testing::AssertionResult result = theirs.agrees(); !result) return result << " (other)";
    if (::testing::AssertionResult result = separate.agrees(); !result)
      return result << " (target)";
    return ::testing::AssertionSuccess();
  }

  CheckedMatrix mine, theirs, separate;
  bool inPlace;
};

constexpr int kRounds = 400;

TEST(ElementFunctions, MultiplyAndAddRoundOnce) {
  SeededRandom random;
  for (int i = 0; i < 1000; ++i) {
    const float a = random.chance(20) ? random.special() : random.normal();
    const float b = random.chance(20) ? random.special() : random.normal();
    EXPECT_SAME_FLOAT(reference::product(a, b), facefeature::elementMultiply(a, b));
    EXPECT_SAME_FLOAT(reference::sum(a, b), facefeature::elementAdd(a, b));
  }
}

TEST(ElementFunctions, MaxAnswersWithTheSecondInTiesAndForNaNs) {
  EXPECT_SAME_FLOAT(2.0f, facefeature::elementMax(2.0f, 1.0f));
  EXPECT_SAME_FLOAT(2.0f, facefeature::elementMax(1.0f, 2.0f));
  EXPECT_BITS(0x80000000u, facefeature::elementMax(0.0f, -0.0f));
  EXPECT_BITS(0x00000000u, facefeature::elementMax(-0.0f, 0.0f));
  EXPECT_SAME_FLOAT(1.0f, facefeature::elementMax(kNaN, 1.0f));
  EXPECT_SAME_FLOAT(kNaN, facefeature::elementMax(1.0f, kNaN));
}

TEST(AddScalar, AgreesWithTheModelInStorageOrder) {
  SeededRandom random;
  for (int round = 0; round < kRounds; ++round) {
    Operands operands(random);
    const float value = random.chance(20) ? random.special() : random.normal();
    operands.mine.got.addScalar(value, operands.target().got);
    operands.mine.wanted.addScalar(value, operands.target().wanted);
    ASSERT_TRUE(operands.agree()) << "round " << round;
  }
}

TEST(MaxWithScalar, NaNAndTiesGiveTheScalar) {
  Matrix matrix;
  fillMatrix(matrix, 1, 5, 111, {kNaN, -0.0f, -3.0f, 2.0f, -kInfinity});
  matrix.maxWithScalar(0.0f, matrix);
  EXPECT_BITS(0x00000000u, matrix.buffer[0]);
  EXPECT_BITS(0x00000000u, matrix.buffer[1]);
  EXPECT_TRUE(holdsValues(matrix, {0, 0, 0, 2, 0}));
}

TEST(MaxWithScalar, AgreesWithTheModelInStorageOrder) {
  SeededRandom random;
  for (int round = 0; round < kRounds; ++round) {
    Operands operands(random);
    const float value = random.chance(40) ? random.special() : random.normal();
    operands.mine.got.maxWithScalar(value, operands.target().got);
    operands.mine.wanted.maxWithScalar(value, operands.target().wanted);
    ASSERT_TRUE(operands.agree()) << "round " << round;
  }
}

TEST(MaxElements, AgreesWithTheModelForDifferentOrders) {
  SeededRandom random;
  for (int round = 0; round < kRounds; ++round) {
    Operands operands(random);
    operands.mine.got.maxElements(operands.theirs.got, operands.target().got);
    operands.mine.wanted.maxElements(operands.theirs.wanted, operands.target().wanted);
    ASSERT_TRUE(operands.agree()) << "round " << round;
  }
}

TEST(MaxElements, TargetMayBeTheOtherOperand) {
  Matrix mine, other;
  fillMatrix(mine, 2, 2, 112, {1, 2, 3, 4});
  fillMatrix(other, 2, 2, 111, {0, 5, 2, 3});
  mine.maxElements(other, other);
  EXPECT_TRUE(hasShape(other, 2, 2, 111));
  EXPECT_TRUE(holdsValues(other, {1, 5, 2, 4}));
}

TEST(MultiplyElements, AgreesWithTheModelForDifferentOrders) {
  SeededRandom random;
  for (int round = 0; round < kRounds; ++round) {
    Operands operands(random);
    operands.mine.got.multiplyElements(operands.theirs.got, operands.target().got);
    operands.mine.wanted.multiplyElements(operands.theirs.wanted, operands.target().wanted);
    ASSERT_TRUE(operands.agree()) << "round " << round;
  }
}

TEST(MultiplyElements, LikeOperandsKeepStoragePlacesWhateverTheTargetsFlag) {
  Matrix mine, other, target;
  fillMatrix(mine, 2, 3, 111, {1, 2, 3, 4, 5, 6});
  fillMatrix(other, 2, 3, 111, {1, 10, 100, 1, 10, 100});
  fillMatrix(target, 2, 3, 112, std::vector<float>(6));
  mine.multiplyElements(other, target);
  const std::vector<float> wanted = {1, 20, 300, 4, 50, 600};
  EXPECT_TRUE(hasShape(target, 2, 3, 112));
  EXPECT_TRUE(sameFloats(wanted.data(), target.buffer, 6));
}

TEST(CombineElements, AgreesWithTheModelForDifferentOrders) {
  SeededRandom random;
  // Not symmetric, so that swapped operands are detected.
  const auto difference = [](float a, float b) { return a - b; };
  for (int round = 0; round < kRounds; ++round) {
    Operands operands(random);
    operands.sizeTarget();
    operands.mine.got.combineElements(operands.theirs.got, difference, operands.target().got);
    operands.mine.wanted.combineElements(
        operands.theirs.wanted, [](float a, float b) { return reference::sum(a, -b); },
        operands.target().wanted);
    ASSERT_TRUE(operands.agree()) << "round " << round;
  }
}

TEST(MixElements, RoundsTheProductBeforeTheSum) {
  SeededRandom random;
  for (int round = 0; round < kRounds; ++round) {
    Operands operands(random);
    operands.sizeTarget();
    const float factor = random.chance(10) ? random.special() : random.normal();
    operands.mine.got.mixElements(operands.theirs.got, factor, operands.target().got);
    operands.mine.wanted.mixElements(operands.theirs.wanted, factor, operands.target().wanted);
    ASSERT_TRUE(operands.agree()) << "round " << round;
  }
}

TEST(AddScaled, AgreesWithTheModelForAllOrders) {
  SeededRandom random;
  for (int round = 0; round < 4 * kRounds; ++round) {
    Operands operands(random);
    const int32_t kind = random.integer(0, 4);
    const float factor = kind == 0   ? 1.0f
                         : kind == 1 ? -1.0f
                         : kind == 2 ? random.special()
                                     : random.normal();
    operands.mine.got.addScaled(operands.theirs.got, factor, operands.target().got);
    operands.mine.wanted.addScaled(operands.theirs.wanted, factor, operands.target().wanted);
    ASSERT_TRUE(operands.agree()) << "round " << round << ", factor " << factor;
  }
}

TEST(AddScaled, DifferentOrdersWithFactorOneGiveThePlainSum) {
  Matrix mine, other, target;
  fillMatrix(mine, 2, 2, 111, {1, 2, 3, 4});
  fillMatrix(other, 2, 2, 112, {10, 20, 30, 40});
  mine.addScaled(other, 1.0f, target);
  EXPECT_TRUE(hasShape(target, 2, 2, 111));
  EXPECT_TRUE(holdsValues(target, {11, 32, 23, 44}));
}

TEST(AddScaled, DifferentOrdersWithAnotherFactorRoundTwice) {
  const float other = 1.1f, factor = 1.1f, mine = -1.0f;
  Matrix first, second, target;
  fillMatrix(first, 2, 1, 111, {mine, mine});
  fillMatrix(second, 2, 1, 112, {other, other});
  first.addScaled(second, factor, target);
  const float wanted = reference::sum(reference::product(other, factor), mine);
  ASSERT_NE(wanted, reference::fused(other, factor, mine));
  EXPECT_SAME_FLOAT(wanted, target.buffer[0]);
  EXPECT_SAME_FLOAT(wanted, target.buffer[1]);
}

TEST(AddScaled, ByColumnsIntoATargetOfAnotherShapeMixesStoragePlaces) {
  Matrix mine, other, target;
  fillMatrix(mine, 2, 3, 112, {1, 2, 3, 4, 5, 6});
  fillMatrix(other, 2, 3, 112, {10, 20, 30, 40, 50, 60});
  fillMatrix(target, 3, 3, 112, std::vector<float>(9));
  mine.addScaled(other, 2.0f, target);
  // The copy goes element by element into a target stored by rows. The sum then follows the storage
  // order.
  EXPECT_TRUE(hasShape(target, 2, 3, 111));
  EXPECT_TRUE(holdsValues(target, {21, 43, 65, 82, 104, 126}));
}

TEST(ApplyFunction, AllCodesAgreeWithTheModelInStorageOrder) {
  SeededRandom random;
  for (int round = 0; round < 5 * kRounds; ++round) {
    Operands operands(random);
    const int32_t code = random.integer(-1, 11);
    operands.mine.got.applyFunction(code, operands.target().got);
    operands.mine.wanted.applyFunction(code, operands.target().wanted);
    ASSERT_TRUE(operands.agree()) << "round " << round << ", code " << code;
  }
}

TEST(ApplyFunction, CodesHaveTheirNumbers) {
  namespace Function = facefeature::MatrixFunction;
  EXPECT_EQ(0, Function::Tanh);
  EXPECT_EQ(1, Function::Reciprocal);
  EXPECT_EQ(2, Function::Square);
  EXPECT_EQ(3, Function::Abs);
  EXPECT_EQ(4, Function::Exp);
  EXPECT_EQ(5, Function::Log);
  EXPECT_EQ(6, Function::Zero);
  EXPECT_EQ(7, Function::One);
  EXPECT_EQ(8, Function::LogisticByTanh);
  EXPECT_EQ(9, Function::LogisticByExp);
  EXPECT_EQ(10, Function::Sign);
}

TEST(ApplyFunction, WithoutATargetWorksInPlace) {
  Matrix matrix;
  fillMatrix(matrix, 1, 3, 112, {-2, 3, -0.5f});
  matrix.applyFunction(facefeature::MatrixFunction::Square);
  EXPECT_TRUE(hasShape(matrix, 1, 3, 112));
  EXPECT_TRUE(holdsValues(matrix, {4, 9, 0.25f}));
}

TEST(ApplyFunction, SignOfBothZerosAndOfNaNIsMinusOne) {
  Matrix matrix;
  fillMatrix(matrix, 1, 5, 111, {0.0f, -0.0f, kNaN, 1e-45f, -7.0f});
  matrix.applyFunction(10);
  EXPECT_TRUE(holdsValues(matrix, {-1, -1, -1, 1, -1}));
}

TEST(ApplyFunction, AbsClearsTheSignBitOfNaNsToo) {
  Matrix matrix;
  fillMatrix(matrix, 1, 2, 111, {floatOfBits(0xFFC12345u), -0.0f});
  matrix.applyFunction(3);
  EXPECT_BITS(0x7FC12345u, matrix.buffer[0]);
  EXPECT_BITS(0x00000000u, matrix.buffer[1]);
}

TEST(ApplyFunction, UnknownCodeResizesAndLeavesTheContents) {
  Matrix source, target;
  fillMatrix(source, 3, 4, 111, std::vector<float>(12, 5.0f));
  const std::vector<float> values = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  fillMatrix(target, 2, 6, 112, values);
  source.applyFunction(99, target);
  EXPECT_TRUE(hasShape(target, 3, 4, 111));
  EXPECT_TRUE(sameFloats(values.data(), target.buffer, 12));
}

TEST(ApplyFunction, ZeroAndOneReadNoInput) {
  Matrix matrix;
  fillMatrix(matrix, 1, 3, 111, {kNaN, kInfinity, -1.0f});
  matrix.applyFunction(facefeature::MatrixFunction::Zero);
  EXPECT_BITS(0x00000000u, matrix.buffer[0]);
  EXPECT_TRUE(holdsValues(matrix, {0, 0, 0}));
  matrix.applyFunction(facefeature::MatrixFunction::One);
  EXPECT_TRUE(holdsValues(matrix, {1, 1, 1}));
}

}  // namespace
}  // namespace facefeature_test
