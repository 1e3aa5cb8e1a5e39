#include "layers/eltwise_layers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "layers/layer_fixture.h"
#include "support/bits.h"
#include "support/reference_arithmetic.h"
#include "support/reference_layers.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature::EltwiseMaxLayer;
using facefeature::EltwiseSumLayer;
using reference::Floats;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

// The layer never frees its coefficients. A leak checker would report them.
class FreedSumLayer : public EltwiseSumLayer {
 public:
  FreedSumLayer() : EltwiseSumLayer(nullptr, "sum") {}
  ~FreedSumLayer() override { delete coeffs; }
};

class EltwiseSumLayerTest : public LayerTest {
 protected:
  void useCoefficients(const std::string& coefficients, const std::string& rest = "") {
    useText("[sum]\ntype=eltsum\ncoeffs=" + coefficients + "\n" + rest);
  }
};

class EltwiseMaxLayerTest : public LayerTest {
 protected:
  void SetUp() override {
    LayerTest::SetUp();
    useText("[max]\ntype=eltmax\n");
  }
};

TEST_F(EltwiseSumLayerTest, ReadsItsCoefficients) {
  useCoefficients("0.5_-2_1");
  const FreedSumLayer layer;
  EXPECT_EQ((Floats{0.5f, -2.0f, 1.0f}), *layer.coeffs);
}

TEST_F(EltwiseSumLayerTest, MissingCoefficientsAreAnEmptyList) {
  useText("[sum]\ntype=eltsum\n");
  const FreedSumLayer layer;
  ASSERT_NE(nullptr, layer.coeffs);
  EXPECT_TRUE(layer.coeffs->empty());
}

TEST_F(EltwiseSumLayerTest, ScalesTheFirstInputAndAddsTheOthersInTurn) {
  SeededRandom random;
  for (const Floats& coefficients :
       {Floats{0.5f, 2.0f}, Floats{0.3f, -1.7f, 0.9f}, Floats{1.1f}, Floats{0.7f, 1.0f, -1.0f}}) {
    std::string text;
    std::vector<Floats> inputs;
    clearInputs();
    for (const float coefficient : coefficients) {
      text += (text.empty() ? "" : "_") + std::to_string(coefficient);
      inputs.push_back(random.normals(3 * 37));
      addInput(3, 37, inputs.back());
    }
    useCoefficients(text);
    FreedSumLayer layer;
    const Matrix& output = run(layer);
    ASSERT_TRUE(hasShape(output, 3, 37, 111));
    EXPECT_TRUE(hasBits(reference::weightedSum(inputs, *layer.coeffs), output.buffer, 3 * 37))
        << text;
  }
}

TEST_F(EltwiseSumLayerTest, HalfOfOneAndTwiceTheOtherAreExactScalings) {
  SeededRandom random;
  const Floats a = random.normals(40), b = random.normals(40);
  Floats wanted;
  for (size_t i = 0; i < a.size(); ++i) {
    wanted.push_back(
        reference::sum(reference::product(0.5f, a[i]), reference::product(2.0f, b[i])));
  }
  useCoefficients("0.5_2");
  FreedSumLayer layer;
  addInput(2, 20, a);
  addInput(2, 20, b);
  EXPECT_TRUE(holdsValues(run(layer), wanted));
}

TEST_F(EltwiseSumLayerTest, InputBeyondTheCoefficientsIsABadIndexBeforeAnyChange) {
  useCoefficients("0.5_2");
  FreedSumLayer layer;
  addInput(1, 2, {1, 2});
  addInput(1, 2, {3, 4});
  Matrix& output = run(layer);
  addInput(1, 2, {5, 6});
  for (const float scale : {0.0f, 1.0f}) {
    for (const int32_t index : {2, 3, -1}) {
      EXPECT_TRUE(throwsOutOfRange(kBadIndex, [&] { layer.applyInput(index, scale); }))
          << index << ", scale " << scale;
    }
  }
  EXPECT_TRUE(holdsValues(output, {6.5f, 9}));
  EXPECT_TRUE(throwsOutOfRange(kBadIndex, [&] { run(layer); }));
}

TEST_F(EltwiseSumLayerTest, WithATargetTheInputItselfIsScaled) {
  useCoefficients("0.5_2", "actsTarget=0\n");
  FreedSumLayer layer;
  Matrix& first = addInput(1, 2, {1, 2});
  Matrix& second = addInput(1, 2, {10, 20});
  EXPECT_EQ(&first, &run(layer));
  EXPECT_TRUE(holdsValues(first, {20.5f, 41}));
  EXPECT_TRUE(holdsValues(second, {10, 20}));
}

TEST_F(EltwiseSumLayerTest, WithTheSecondInputAsTargetThatOneIsScaledFirst) {
  useCoefficients("0.5_2", "actsTarget=1\n");
  FreedSumLayer layer;
  addInput(1, 2, {1, 2});
  Matrix& second = addInput(1, 2, {10, 20});
  EXPECT_EQ(&second, &run(layer));
  EXPECT_TRUE(holdsValues(second, {20.5f, 41}));
}

TEST_F(EltwiseSumLayerTest, NextRunOverwritesTheSameMatrix) {
  useCoefficients("1_1");
  FreedSumLayer layer;
  addInput(1, 2, {1, 2});
  addInput(1, 2, {3, 4});
  Matrix& output = run(layer);
  output.buffer[0] = kNaN;
  EXPECT_EQ(&output, &run(layer));
  EXPECT_TRUE(holdsValues(output, {4, 6}));
}

TEST_F(EltwiseSumLayerTest, InputsOfDifferentOrderAreAddedElementByElement) {
  useCoefficients("1_2");
  FreedSumLayer layer;
  addInput(2, 2, {1, 2, 3, 4});
  Matrix& second = addInput(2, 2, {10, 20, 30, 40});
  second.order = 112;
  EXPECT_TRUE(holdsValues(run(layer), {21, 62, 43, 84}));
}

TEST_F(EltwiseSumLayerTest, LargerLaterInputIsReadAsFarAsTheOutputGoes) {
  useCoefficients("1_2");
  FreedSumLayer layer;
  addInput(1, 2, {1, 2});
  addInput(2, 2, {10, 20, 30, 40});
  EXPECT_TRUE(holdsValues(run(layer), {21, 42}));
}

TEST_F(EltwiseSumLayerTest, SmallerLaterInputIsOutOfRange) {
  useCoefficients("1_2");
  FreedSumLayer layer;
  addInput(2, 2, {1, 2, 3, 4});
  addInput(1, 3, {10, 20, 30});
  EXPECT_THROW(run(layer), std::out_of_range);
}

TEST_F(EltwiseSumLayerTest, LaterInputOfAnotherShapeAndOfTheSameSizeIsSummedAlongTheStorage) {
  useCoefficients("1_2");
  for (const int32_t order : {111, 112}) {
    FreedSumLayer layer;
    clearInputs();
    Matrix& first = addInput(2, 3, {1, 2, 3, 4, 5, 6});
    Matrix& second = addInput(3, 2, {10, 20, 30, 40, 50, 60});
    run(layer);
    first.order = second.order = layer.activations->order = order;
    const Matrix& output = run(layer);
    ASSERT_TRUE(hasShape(output, 2, 3, order));
    const Floats wanted = {21, 42, 63, 84, 105, 126};
    EXPECT_TRUE(sameFloats(wanted.data(), output.buffer, wanted.size())) << order;
  }
}

// The first matrix after the second has been added, or nothing if that reads past the end of the
// second.
std::optional<Floats> addedWithinReach(const Matrix& first, const Matrix& second, float factor) {
  const auto indexOf = [](const Matrix& matrix, int32_t r, int32_t c) {
    return static_cast<size_t>(matrix.order == 112 ? matrix.rows * c + r : matrix.cols * r + c);
  };
  Floats sums(first.buffer, first.buffer + first.size);
  for (int32_t r = 0; r < first.rows; ++r) {
    for (int32_t c = 0; c < first.cols; ++c) {
      const size_t own = indexOf(first, r, c);
      const size_t other = first.order == second.order ? own : indexOf(second, r, c);
      if (other >= static_cast<size_t>(second.size)) return std::nullopt;
      sums[own] = reference::sum(reference::product(second.buffer[other], factor), sums[own]);
    }
  }
  return sums;
}

TEST_F(EltwiseSumLayerTest, LaterInputOfAnyShapeIsReadWithinItsBoundsOrIsOutOfRange) {
  SeededRandom random;
  int summed = 0, thrown = 0;
  for (int round = 0; round < 600; ++round) {
    // With whole numbers, a fused sum gives the same result.
    const int32_t coefficient = random.integer(1, 3);
    useCoefficients("1_" + std::to_string(coefficient), "actsTarget=0\n");
    FreedSumLayer layer;
    clearInputs();
    const auto addRandomInput = [&]() -> Matrix& {
      const int32_t rows = random.integer(1, 4), cols = random.integer(1, 4);
      Floats values(static_cast<size_t>(rows * cols));
      for (float& value : values) value = static_cast<float>(random.integer(-99, 99));
      Matrix& input = addInput(rows, cols, values);
      input.order = randomOrder(random);
      return input;
    };
    Matrix& first = addRandomInput();
    const Matrix& second = addRandomInput();
    const std::string shapes = std::to_string(first.rows) + " x " + std::to_string(first.cols) +
                               " of order " + std::to_string(first.order) + ", " +
                               std::to_string(second.rows) + " x " + std::to_string(second.cols) +
                               " of order " + std::to_string(second.order);
    const std::optional<Floats> wanted =
        addedWithinReach(first, second, static_cast<float>(coefficient));
    ++(wanted ? summed : thrown);
    if (wanted) {
      run(layer);
      ASSERT_TRUE(sameFloats(wanted->data(), first.buffer, wanted->size())) << shapes;
    } else {
      const Floats before(first.buffer, first.buffer + first.size);
      ASSERT_THROW(run(layer), std::out_of_range) << shapes;
      ASSERT_TRUE(sameFloats(before.data(), first.buffer, before.size())) << shapes;
    }
  }
  EXPECT_LT(50, summed);
  EXPECT_LT(50, thrown);
}

TEST_F(EltwiseSumLayerTest, OfDifferentOrderALaterInputMayBeSmallerAsLongAsItsElementsReach) {
  useCoefficients("1_2");
  FreedSumLayer layer;
  addInput(2, 2, {1, 2, 3, 4});
  // By columns, row 1 of a matrix of one row starts at its second element.
  Matrix& second = addInput(1, 3, {10, 20, 30});
  second.order = 112;
  EXPECT_TRUE(holdsValues(run(layer), {21, 42, 43, 64}));
}

TEST_F(EltwiseSumLayerTest, OfDifferentOrderALaterInputOfTheSameSizeMayNotReach) {
  useCoefficients("1_2");
  FreedSumLayer layer;
  addInput(2, 2, {1, 2, 3, 4});
  Matrix& second = addInput(4, 1, {10, 20, 30, 40});
  second.order = 112;
  EXPECT_THROW(run(layer), std::out_of_range);
}

TEST_F(EltwiseMaxLayerTest, RandomInputsMatchBitForBit) {
  SeededRandom random;
  EltwiseMaxLayer layer(nullptr, "max");
  for (int round = 0; round < 60; ++round) {
    const int32_t count = random.integer(2, 4);
    const int32_t rows = random.integer(1, 4), cols = random.integer(1, 20);
    std::vector<Floats> inputs;
    clearInputs();
    for (int32_t i = 0; i < count; ++i) {
      inputs.push_back(valuesWithSpecials(random, rows * cols, 40));
      addInput(rows, cols, inputs.back());
    }
    const Matrix& output = run(layer);
    ASSERT_TRUE(hasShape(output, rows, cols, 111));
    const Floats wanted = reference::elementwiseMaximum(inputs);
    ASSERT_TRUE(sameFloats(wanted.data(), output.buffer, wanted.size())) << round;
  }
}

TEST_F(EltwiseMaxLayerTest, NaNInTheFirstNamedOperandLoses) {
  EltwiseMaxLayer layer(nullptr, "max");
  // By column: a NaN in input 1 loses to input 0; a NaN in input 0 stays, then loses to input 2; a
  // NaN in input 2 stays.
  addInput(1, 3, {1, kNaN, 1});
  addInput(1, 3, {kNaN, 1, 2});
  addInput(1, 3, {0, 5, kNaN});
  EXPECT_TRUE(holdsValues(run(layer), {1, 5, kNaN}));
}

TEST_F(EltwiseMaxLayerTest, OfTwoZerosTheSecondOperandStays) {
  EltwiseMaxLayer layer(nullptr, "max");
  addInput(1, 2, {0.0f, -0.0f});
  addInput(1, 2, {-0.0f, 0.0f});
  const Matrix& output = run(layer);
  EXPECT_BITS(0x00000000u, output.buffer[0]);
  EXPECT_BITS(0x80000000u, output.buffer[1]);
}

TEST_F(EltwiseMaxLayerTest, OneInputLeavesTheActivationsEmpty) {
  EltwiseMaxLayer layer(nullptr, "max");
  addInput(1, 3, {1, 2, 3});
  const Matrix& output = run(layer);
  EXPECT_EQ(nullptr, output.buffer);
  EXPECT_TRUE(hasShape(output, 0, 0, 111));
}

TEST_F(EltwiseMaxLayerTest, InputZeroAndNegativeIndicesDoNothing) {
  EltwiseMaxLayer layer(nullptr, "max");
  addInput(1, 2, {1, 2});
  addInput(1, 2, {3, 0});
  Matrix& output = run(layer);
  output.buffer[0] = -7.0f;
  layer.applyInput(0, 0.0f);
  layer.applyInput(-1, 1.0f);
  layer.applyInput(std::numeric_limits<int32_t>::min(), 1.0f);
  EXPECT_TRUE(holdsValues(output, {-7, 2}));
}

TEST_F(EltwiseMaxLayerTest, PairIsFormedAtInputOneWhateverTheScale) {
  EltwiseMaxLayer layer(nullptr, "max");
  addInput(1, 2, {1, 2});
  addInput(1, 2, {3, 0});
  Matrix& output = run(layer);
  output.buffer[0] = 100.0f;
  layer.applyInput(1, 0.0f);
  EXPECT_TRUE(holdsValues(output, {3, 2}));
}

TEST_F(EltwiseMaxLayerTest, WithATargetTheInputItselfIsOverwritten) {
  useText("[max]\ntype=eltmax\nactsTarget=0\n");
  EltwiseMaxLayer layer(nullptr, "max");
  Matrix& first = addInput(1, 3, {1, 5, 3});
  addInput(1, 3, {4, 2, 3});
  EXPECT_EQ(&first, &run(layer));
  EXPECT_TRUE(holdsValues(first, {4, 5, 3}));
}

TEST_F(EltwiseMaxLayerTest, WithATargetOfAnotherShapeItIsOutOfRangeAndChangesNothing) {
  useText("[max]\ntype=eltmax\nactsTarget=0\n");
  const std::pair<int32_t, int32_t> shapes[] = {{1, 1}, {1, 6}, {2, 2}, {2, 3},
                                                {3, 2}, {6, 1}, {4, 4}, {2, 6}};
  for (const auto& [rows, cols] : shapes) {
    for (const auto& [otherRows, otherCols] : shapes) {
      EltwiseMaxLayer layer(nullptr, "max");
      clearInputs();
      const Floats values(static_cast<size_t>(rows * cols), 1.0f);
      const Floats others(static_cast<size_t>(otherRows * otherCols), 2.0f);
      Matrix& first = addInput(rows, cols, values);
      const Matrix& second = addInput(otherRows, otherCols, others);
      const float* const buffer = first.buffer;
      if (rows == otherRows && cols == otherCols) {
        run(layer);
        EXPECT_TRUE(holdsValues(first, others));
        continue;
      }
      EXPECT_THROW(run(layer), std::out_of_range)
          << rows << " x " << cols << " and " << otherRows << " x " << otherCols;
      EXPECT_EQ(buffer, first.buffer);
      ASSERT_TRUE(hasShape(first, rows, cols, 111));
      EXPECT_TRUE(holdsValues(first, values));
      EXPECT_TRUE(holdsValues(second, others));
    }
  }
}

TEST_F(EltwiseMaxLayerTest, SmallerOtherInputIsOutOfRange) {
  EltwiseMaxLayer layer(nullptr, "max");
  addInput(1, 3, {10, 20, 30});
  addInput(2, 2, {1, 2, 3, 4});
  EXPECT_THROW(run(layer), std::out_of_range);
}

TEST_F(EltwiseMaxLayerTest, MissingInputIsOutOfRange) {
  EltwiseMaxLayer layer(nullptr, "max");
  addInput(1, 2, {1, 2});
  run(layer);
  EXPECT_THROW(layer.applyInput(1, 1.0f), std::out_of_range);
  EXPECT_THROW(layer.applyInput(2, 1.0f), std::out_of_range);
}

}  // namespace
}  // namespace facefeature_test
