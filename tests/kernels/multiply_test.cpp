#include "kernels/multiply.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "kernels/checked_matrix.h"
#include "support/bits.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

std::vector<float> smallIntegers(Random& random, int32_t count) {
  std::vector<float> values(static_cast<size_t>(count));
  for (float& value : values) value = static_cast<float>(random.integer(-9, 9));
  return values;
}

TEST(Multiply, WholeNumbersAreExactForAllOrders) {
  SeededRandom random;
  for (int round = 0; round < 200; ++round) {
    const int32_t m = random.integer(1, 9), n = random.integer(1, 9), k = random.integer(1, 40);
    Matrix a, b;
    fillMatrix(a, m, k, randomOrder(random), smallIntegers(random, m * k));
    fillMatrix(b, k, n, randomOrder(random), smallIntegers(random, k * n));
    const std::vector<float> left = valuesByRows(a), right = valuesByRows(b);
    const bool adds = random.chance(50);
    std::vector<float> c = smallIntegers(random, m * n);
    if (!adds) c.assign(c.size(), kNaN);
    std::vector<float> wanted(c.size());
    for (int32_t i = 0; i < m * n; ++i) {
      float total = adds ? c[static_cast<size_t>(i)] : 0.0f;
      for (int32_t l = 0; l < k; ++l) {
        total +=
            left[static_cast<size_t>(i / n * k + l)] * right[static_cast<size_t>(l * n + i % n)];
      }
      wanted[static_cast<size_t>(i)] = total;
    }
    facefeature::multiply(a, b, m, n, k, 1.0f, adds ? 1.0f : 0.0f, c.data(), n);
    ASSERT_TRUE(sameFloats(wanted.data(), c.data(), c.size()))
        << "round " << round << ", orders " << a.order << " and " << b.order;
  }
}

TEST(Multiply, LinesOfTheTargetMayBeLongerThanTheProduct) {
  Matrix a, b;
  fillMatrix(a, 2, 1, 111, {1, 2});
  fillMatrix(b, 1, 2, 111, {10, 100});
  std::vector<float> c(6, -1.0f);
  facefeature::multiply(a, b, 2, 2, 1, 1.0f, 0.0f, c.data(), 3);
  EXPECT_EQ((std::vector<float>{10, 100, -1, 20, 200, -1}), c);
}

TEST(Multiply, WithoutElementsNothingIsTouchedOrPrinted) {
  const Matrix a(0, 3), b(3, 4);
  float c = 7.0f;
  ::testing::internal::CaptureStdout();
  ::testing::internal::CaptureStderr();
  facefeature::multiply(a, b, 0, 4, 3, 1.0f, 0.0f, &c, 4);
  EXPECT_EQ("", ::testing::internal::GetCapturedStdout());
  EXPECT_EQ("", ::testing::internal::GetCapturedStderr());
  EXPECT_SAME_FLOAT(7.0f, c);
}

TEST(AddBiases, VectorsThatFitAreBroadcast) {
  SeededRandom random;
  for (int round = 0; round < 200; ++round) {
    const int32_t rows = random.integer(1, 8), cols = random.integer(1, 30);
    CheckedMatrix target(rows, cols, 111, valuesWithSpecials(random, rows * cols, 5));
    const bool isRow = random.chance(50);
    const int32_t length = random.integer(0, isRow ? cols : rows);
    CheckedMatrix biases(isRow ? 1 : length, isRow ? length : 1, 111,
                         valuesWithSpecials(random, length, 5));
    facefeature::addBiases(biases.got, target.got.size, target.got);
    target.wanted.addBroadcast(biases.wanted, 1.0f, target.wanted);
    ASSERT_TRUE(target.agrees()) << "round " << round;
    ASSERT_TRUE(biases.agrees()) << "round " << round;
  }
}

// A longer vector continues into the storage that follows, but not beyond the room.
TEST(AddBiases, VectorsThatAreTooLongStayWithinTheRoom) {
  SeededRandom random;
  for (int round = 0; round < 200; ++round) {
    const int32_t rows = random.integer(1, 4), cols = random.integer(1, 6);
    const bool isRow = random.chance(50);
    const int32_t length = random.integer(isRow ? cols : rows, 20);
    const int32_t room = rows * cols + random.integer(0, 9);
    std::vector<float> storage = smallIntegers(random, 200);
    const std::vector<float> added = smallIntegers(random, length);
    std::vector<float> wanted = storage;
    for (int32_t line = 0; line < (isRow ? rows : cols); ++line) {
      for (int32_t k = 0; k < length; ++k) {
        const int32_t index = isRow ? line * cols + k : k * cols + line;
        if (index < room) wanted[static_cast<size_t>(index)] += added[static_cast<size_t>(k)];
      }
    }
    Matrix target = Matrix::view(storage.data(), rows, cols, 111);
    Matrix biases;
    fillMatrix(biases, isRow || length == 1 ? 1 : length, isRow ? length : 1, 111, added);
    if (!isRow && length == 1) continue;
    facefeature::addBiases(biases, room, target);
    ASSERT_TRUE(sameFloats(wanted.data(), storage.data(), storage.size())) << "round " << round;
  }
}

TEST(AddBiases, OfTheNetsShapeStopAtTheRoomToo) {
  std::vector<float> storage(8);
  Matrix target = Matrix::view(storage.data(), 2, 4, 111);
  Matrix biases;
  fillMatrix(biases, 2, 1, 111, {1, 2});
  facefeature::addBiases(biases, 3, target);
  const std::vector<float> wanted = {1, 1, 1, 0, 0, 0, 0, 0};
  EXPECT_TRUE(sameFloats(wanted.data(), storage.data(), storage.size()));
}

}  // namespace
}  // namespace facefeature_test
