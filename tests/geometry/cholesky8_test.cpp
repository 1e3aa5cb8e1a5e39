#include "geometry/cholesky8.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "support/bits.h"
#include "support/reference_geometry.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature::SolveCholesky8;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

std::vector<float> diagonal(float value) {
  std::vector<float> matrix(64, 0.0f);
  for (size_t i = 0; i < 8; ++i) matrix[9 * i] = value;
  return matrix;
}

// The product of a random matrix with its own transpose, of the given rank.
std::vector<float> randomMatrix(Random& random, int rank, float size) {
  const std::vector<float> factor = random.normals(64, size);
  std::vector<float> matrix(64, 0.0f);
  for (size_t index = 0; index < 64; ++index) {
    for (size_t k = 0; k < static_cast<size_t>(rank); ++k) {
      matrix[index] += factor[index / 8 * 8 + k] * factor[index % 8 * 8 + k];
    }
  }
  return matrix;
}

// Runs both solvers on copies and compares status, factor and solution.
void expectLikeReference(const std::vector<float>& matrix, const std::vector<float>& rightSide) {
  std::vector<float> wantedMatrix = matrix, gotMatrix = matrix;
  std::vector<float> wanted = rightSide, got = rightSide;
  const int32_t status = reference::solveCholesky8(wantedMatrix.data(), wanted.data());
  EXPECT_EQ(status, SolveCholesky8(gotMatrix.data(), got.data()));
  EXPECT_TRUE(sameFloats(wanted.data(), got.data(), 8));
  if (status == 0) return;
  EXPECT_TRUE(sameFloats(wantedMatrix.data(), gotMatrix.data(), 64));
}

TEST(SolveCholesky8, EachOperationIsRoundedInTheOrderOfTheReference) {
  SeededRandom random;
  for (int i = 0; i < 500; ++i) {
    expectLikeReference(randomMatrix(random, 8, random.between(0.01f, 30.0f)), random.normals(8));
  }
}

TEST(SolveCholesky8, SingularMatricesMatchTheReference) {
  SeededRandom random;
  for (int i = 0; i < 300; ++i) {
    const int rank = random.integer(0, 7);
    expectLikeReference(randomMatrix(random, rank, 3.0f), random.normals(8, 100.0f));
  }
}

TEST(SolveCholesky8, SpecialValuesPropagateAsInTheReference) {
  SeededRandom random;
  for (int i = 0; i < 300; ++i) {
    std::vector<float> matrix = randomMatrix(random, 8, 2.0f);
    std::vector<float> rightSide = random.normals(8);
    matrix[static_cast<size_t>(random.integer(0, 63))] = random.special();
    rightSide[static_cast<size_t>(random.integer(0, 7))] = random.special();
    expectLikeReference(matrix, rightSide);
  }
}

TEST(SolveCholesky8, SolvesTheEquations) {
  SeededRandom random;
  for (int i = 0; i < 50; ++i) {
    std::vector<float> matrix = randomMatrix(random, 8, 0.2f);
    for (size_t k = 0; k < 8; ++k) matrix[9 * k] += 4.0f;
    const std::vector<float> solution = random.normals(8);
    std::vector<float> rightSide(8, 0.0f);
    for (size_t index = 0; index < 64; ++index) {
      rightSide[index / 8] += matrix[index] * solution[index % 8];
    }
    ASSERT_EQ(1, SolveCholesky8(matrix.data(), rightSide.data()));
    for (size_t k = 0; k < 8; ++k) EXPECT_NEAR(solution[k], rightSide[k], 1e-5f);
  }
}

TEST(SolveCholesky8, TheDiagonalHoldsReciprocals) {
  std::vector<float> matrix = diagonal(16.0f);
  ASSERT_EQ(1, SolveCholesky8(matrix.data(), nullptr));
  for (size_t i = 0; i < 8; ++i) EXPECT_SAME_FLOAT(0.25f, matrix[9 * i]);
}

TEST(SolveCholesky8, TheReciprocalIsADivisionByTheRoundedRoot) {
  SeededRandom random;
  int otherwise = 0;
  for (int i = 0; i < 200; ++i) {
    const float pivot = random.between(0.5f, 50.0f);
    std::vector<float> matrix = diagonal(pivot);
    ASSERT_EQ(1, SolveCholesky8(matrix.data(), nullptr));
    const float root = static_cast<float>(std::sqrt(static_cast<double>(pivot)));
    EXPECT_SAME_FLOAT(1.0f / root, matrix[0]);
    if (static_cast<float>(1.0 / std::sqrt(static_cast<double>(pivot))) != matrix[0]) ++otherwise;
  }
  EXPECT_GT(otherwise, 0) << "no pivot told one rounding from two";
}

TEST(SolveCholesky8, ANullRightSideFactorsOnly) {
  SeededRandom random;
  const std::vector<float> matrix = randomMatrix(random, 8, 2.0f);
  std::vector<float> factoredOnly = matrix, solved = matrix;
  std::vector<float> rightSide = random.normals(8);
  EXPECT_EQ(1, SolveCholesky8(factoredOnly.data(), nullptr));
  EXPECT_EQ(1, SolveCholesky8(solved.data(), rightSide.data()));
  EXPECT_TRUE(sameFloats(solved.data(), factoredOnly.data(), 64));
  std::vector<float> failing = diagonal(0.0f);
  EXPECT_EQ(0, SolveCholesky8(failing.data(), nullptr));
}

TEST(SolveCholesky8, APivotOfTheSmallestNormalFloatPasses) {
  std::vector<float> matrix = diagonal(floatOfBits(0x00800000u));
  std::vector<float> rightSide(8, 0.0f);
  EXPECT_EQ(1, SolveCholesky8(matrix.data(), rightSide.data()));
}

TEST(SolveCholesky8, AnySmallerPivotFailsAndLeavesTheRightSideAsItCame) {
  const float small[] = {floatOfBits(0x007FFFFFu),
                         floatOfBits(1u),
                         0.0f,
                         -0.0f,
                         -1.0f,
                         -std::numeric_limits<float>::infinity()};
  for (float pivot : small) {
    for (size_t index = 0; index < 8; ++index) {
      std::vector<float> matrix = diagonal(2.0f);
      matrix[9 * index] = pivot;
      std::vector<float> rightSide = {1.0f, -2.0f, 3.0f, -0.0f, kNaN, 6.0f, 7.0f, 8.0f};
      const std::vector<float> before = rightSide;
      EXPECT_EQ(0, SolveCholesky8(matrix.data(), rightSide.data())) << pivot << " at " << index;
      EXPECT_TRUE(sameFloats(before.data(), rightSide.data(), 8)) << pivot << " at " << index;
    }
  }
}

TEST(SolveCholesky8, ANanPivotIsTreatedAsGoodAndPropagates) {
  for (size_t index = 0; index < 8; ++index) {
    std::vector<float> matrix = diagonal(4.0f);
    matrix[9 * index] = kNaN;
    std::vector<float> rightSide(8, 8.0f);
    EXPECT_EQ(1, SolveCholesky8(matrix.data(), rightSide.data()));
    // The zeros off the diagonal carry the NaN to every element whose sum includes it.
    EXPECT_TRUE(std::isnan(rightSide[index])) << index;
    EXPECT_TRUE(std::isnan(rightSide[7])) << index;
    EXPECT_TRUE(std::isnan(rightSide[0])) << index;
  }
}

}  // namespace
}  // namespace facefeature_test
