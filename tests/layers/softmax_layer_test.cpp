#include "layers/softmax_layer.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "layers/layer_fixture.h"
#include "support/bits.h"
#include "support/reference_arithmetic.h"
#include "support/reference_layers.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature::SoftmaxLayer;
using reference::Floats;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

class SoftmaxLayerTest : public LayerTest {
 protected:
  void SetUp() override {
    LayerTest::SetUp();
    useText("[softmax]\ntype=softmax\n");
  }
};

TEST_F(SoftmaxLayerTest, RandomShapesMatchBitForBit) {
  SeededRandom random;
  SoftmaxLayer layer(nullptr, "softmax");
  for (int round = 0; round < 300; ++round) {
    const int32_t rows = random.integer(1, 9), cols = random.integer(1, 50);
    Floats values = random.normals(static_cast<size_t>(rows * cols));
    for (float& value : values) {
      value *= 8.0f;
      if (random.chance(3)) value = random.chance(50) ? -kInfinity : 1e30f;
    }
    clearInputs();
    addInput(rows, cols, values);
    const Matrix& output = run(layer);
    ASSERT_TRUE(hasShape(output, rows, cols, 111));
    const Floats wanted = reference::softmax(values, rows, cols);
    ASSERT_TRUE(sameFloats(wanted.data(), output.buffer, wanted.size()))
        << "round " << round << ", " << rows << " x " << cols;
  }
}

TEST_F(SoftmaxLayerTest, RowsOfEqualValuesGiveHalves) {
  SoftmaxLayer layer(nullptr, "softmax");
  addInput(2, 2, {0, 0, 1, 1});
  EXPECT_TRUE(holdsValues(run(layer), {0.5f, 0.5f, 0.5f, 0.5f}));
}

TEST_F(SoftmaxLayerTest, ValuesAboveTheRangeOfTheExponentialStayFinite) {
  SoftmaxLayer layer(nullptr, "softmax");
  addInput(2, 3, {200, 0, 199, 1, 2, 3});
  const Matrix& output = run(layer);
  for (int32_t i = 0; i < 6; ++i) EXPECT_TRUE(std::isfinite(output.buffer[i])) << i;
}

TEST_F(SoftmaxLayerTest, OneRowShiftsAndDividesOnlyItsFirstElement) {
  SoftmaxLayer layer(nullptr, "softmax");
  addInput(1, 2, {1, 2});
  const float first = reference::exponential(-1.0f), second = reference::exponential(2.0f);
  const float total = reference::sum(first, second);
  EXPECT_TRUE(holdsValues(run(layer), {reference::quotient(first, total), second}));
}

TEST_F(SoftmaxLayerTest, SeveralRowsAreMultipliedByTheRoundedReciprocal) {
  SoftmaxLayer layer(nullptr, "softmax");
  // For 5 equal elements, both computations give 0.2. For 41 they differ.
  addInput(2, 41, Floats(82, 0.0f));
  const float reciprocal = reference::quotient(1.0f, 41.0f);
  EXPECT_TRUE(holdsValues(run(layer), Floats(82, reciprocal)));
  clearInputs();
  Floats values = Floats(6, 0.0f);
  values[0] = values[3] = 1.0f;
  addInput(2, 3, values);
  const float lower = reference::exponential(-1.0f);
  const float total = reference::sum(reference::sum(1.0f, lower), lower);
  EXPECT_SAME_FLOAT(reference::product(lower, reference::quotient(1.0f, total)),
                    run(layer).buffer[1]);
}

// Their sums are NaN, and so is every element of the row, since 0 times NaN is NaN.
TEST_F(SoftmaxLayerTest, RowWithANaNOrAnInfinityBecomesNaNs) {
  SoftmaxLayer layer(nullptr, "softmax");
  addInput(3, 2, {kNaN, 1, kInfinity, 1, 0, 0});
  EXPECT_TRUE(holdsValues(run(layer), {kNaN, kNaN, kNaN, kNaN, 0.5f, 0.5f}));
}

TEST_F(SoftmaxLayerTest, RowOfNegativeInfinitiesBecomesNaNs) {
  SoftmaxLayer layer(nullptr, "softmax");
  // The shift is the lowest float, not the elements themselves, so the result is 0 * (1 / 0).
  addInput(2, 2, {-kInfinity, -kInfinity, 0, 0});
  EXPECT_TRUE(holdsValues(run(layer), {kNaN, kNaN, 0.5f, 0.5f}));
}

TEST_F(SoftmaxLayerTest, EveryCallReadsTheFirstInputAndOverwrites) {
  SeededRandom random;
  SoftmaxLayer layer(nullptr, "softmax");
  addInput(2, 4, random.normals(8));
  addInput(2, 4, random.normals(8));
  Matrix& output = run(layer);
  const Floats first = valuesByRows(output);
  for (int32_t i = 0; i < 8; ++i) output.buffer[i] = kNaN;
  layer.applyInput(1, 1.0f);
  EXPECT_TRUE(holdsValues(output, first));
}

TEST_F(SoftmaxLayerTest, WithATargetItWorksInPlace) {
  SeededRandom random;
  useText("[softmax]\ntype=softmax\nactsTarget=0\n");
  SoftmaxLayer layer(nullptr, "softmax");
  const Floats values = random.normals(12);
  Matrix& input = addInput(3, 4, values);
  EXPECT_EQ(&input, &run(layer));
  EXPECT_TRUE(holdsValues(input, reference::softmax(values, 3, 4)));
}

TEST_F(SoftmaxLayerTest, InputWithoutRowsGivesNoRows) {
  SoftmaxLayer layer(nullptr, "softmax");
  addInput(0, 4, {});
  EXPECT_TRUE(hasShape(run(layer), 0, 4, 111));
}

TEST_F(SoftmaxLayerTest, InputWithoutColumnsGivesNoColumns) {
  SoftmaxLayer layer(nullptr, "softmax");
  for (const int32_t rows : {1, 2, 1}) {
    clearInputs();
    addInput(rows, 0, {});
    EXPECT_TRUE(hasShape(run(layer), rows, 0, 111));
  }
}

}  // namespace
}  // namespace facefeature_test
