// Compares the projection of every kernel set with the plain one, bit by bit.
#include "kernels/project_rows.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <string>
#include <vector>

#include "support/bits.h"
#include "support/placed_floats.h"
#include "support/scoped_kernels.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature::KernelSet;
using facefeature::projectRowsPlain;

class ProjectRows : public ::testing::TestWithParam<const KernelSet*> {
 protected:
  SeededRandom random;

  // The payload of a NaN result is not guaranteed; everything else is compared to the bit.
  void expectProducts(int32_t rows, int32_t cols, int32_t matrixKind, int32_t vectorKind,
                      int32_t placement) {
    SCOPED_TRACE(::testing::Message() << rows << " x " << cols << ", sorts " << matrixKind
                                      << " and " << vectorKind << ", place " << placement);
    const std::vector<float> matrix =
        floatsOfKind(random, static_cast<size_t>(rows) * static_cast<size_t>(cols), matrixKind);
    const std::vector<float> x = floatsOfKind(random, static_cast<size_t>(cols), vectorKind);
    std::vector<float> wanted = floatsOfKind(random, static_cast<size_t>(rows), 0);
    const std::vector<float> unwritten = floatsOfKind(random, static_cast<size_t>(rows), 5);
    projectRowsPlain(matrix.data(), rows, cols, x.data(), wanted.data());

    PlacedFloats placedMatrix(matrix, placement);
    PlacedFloats placedX(x, randomPlacement(random));
    PlacedFloats products(unwritten, randomPlacement(random));
    GetParam()->projectRows(placedMatrix.data(), rows, cols, placedX.data(), products.data());
    ASSERT_TRUE(sameFloats(wanted.data(), products.data(), wanted.size()));
    ASSERT_TRUE(products.isUntouchedAround() && placedX.isUntouchedAround() &&
                placedMatrix.isUntouchedAround());
    ASSERT_TRUE(identicalFloats(matrix.data(), placedMatrix.data(), matrix.size()));
    ASSERT_TRUE(identicalFloats(x.data(), placedX.data(), x.size()));
  }

  int32_t randomKind() { return random.integer(0, kFloatKinds - 1); }
};

TEST_P(ProjectRows, SmallMatricesOfAllShapesMatchThePlainKernelBitForBit) {
  for (int32_t rows = 0; rows <= 40 && !HasFailure(); ++rows) {
    for (int32_t cols = 0; cols <= 40; ++cols) {
      expectProducts(rows, cols, 1, 1, randomPlacement(random));
      expectProducts(rows, cols, randomKind(), randomKind(), randomPlacement(random));
    }
  }
}

TEST_P(ProjectRows, EveryPlacementInMemoryMatchesThePlainKernelBitForBit) {
  for (int32_t placement = 0; placement < kFloatPlacements && !HasFailure(); ++placement) {
    for (const int32_t rows : {1, 4, 7, 16, 21, 37}) {
      for (const int32_t cols : {1, 3, 4, 16, 63, 64, 65, 257}) {
        expectProducts(rows, cols, 1, 1, placement);
      }
    }
  }
}

TEST_P(ProjectRows, LongRowsMatchThePlainKernelBitForBit) {
  for (const int32_t cols : {8000, 8001}) {
    for (const int32_t rows : {0, 1, 3, 4, 15, 16, 17, 33, 40}) {
      expectProducts(rows, cols, 1, 1, randomPlacement(random));
      expectProducts(rows, cols, randomKind(), random.integer(0, 2), randomPlacement(random));
    }
  }
}

TEST_P(ProjectRows, TheMatrixOfAModelMatchesThePlainKernelBitForBit) {
  expectProducts(500, 8000, 1, 1, 16);
  expectProducts(500, 8000, 0, 0, 17);
  expectProducts(500, 8001, 1, 0, 3);
  for (int32_t cols = 0; cols <= 40; ++cols) {
    expectProducts(500, cols, 1, 1, randomPlacement(random));
  }
}

// A sum split over lanes would add the infinities, or overflow, in a different order.
TEST_P(ProjectRows, EachSumRunsFromTheFirstColumnToTheLast) {
  constexpr float kLargest = std::numeric_limits<float>::max();
  for (const int32_t rows : {1, 4, 16, 19}) {
    const size_t cols = 13;
    std::vector<float> matrix(static_cast<size_t>(rows) * cols, 0.0f);
    for (size_t r = 0; r < static_cast<size_t>(rows); ++r) {
      float* row = &matrix[r * cols];
      row[0] = row[5] = r % 2 == 0 ? kLargest : 1.0f;
      row[6] = row[12] = -row[0];
      row[9] = 0x1p-24f;
    }
    const std::vector<float> x(cols, 1.0f);
    std::vector<float> products(static_cast<size_t>(rows));
    GetParam()->projectRows(matrix.data(), rows, 13, x.data(), products.data());
    for (size_t r = 0; r < products.size(); ++r) {
      const float infinite = std::numeric_limits<float>::infinity();
      // 1 + 1 - 1 + 2^-24 rounds to 1 before the last -1.
      EXPECT_SAME_FLOAT(r % 2 == 0 ? infinite : 0.0f, products[r]) << "row " << r << " of " << rows;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Sets, ProjectRows, ::testing::ValuesIn(runnableKernelSets()),
                         kernelSetName<::testing::TestParamInfo<const KernelSet*>>);

}  // namespace
}  // namespace facefeature_test
