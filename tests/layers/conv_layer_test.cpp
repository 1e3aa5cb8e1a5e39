#include "layers/conv_layer.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "layers/layer_fixture.h"
#include "support/bits.h"
#include "support/reference_layers.h"
#include "support/seeded_random.h"

namespace facefeature_test {
namespace {

using facefeature::ConvLayer;
using facefeature::LocalLayer;
using facefeature::LocalUnsharedLayer;
using reference::FilterInput;
using reference::Floats;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

// A filters x length matrix in the layout of its file: transposed.
void writeWeights(const std::string& name, int32_t filters, const FilterInput& input) {
  Floats stored;
  for (int32_t k = 0; k < input.weightLength; ++k) {
    for (int32_t f = 0; f < filters; ++f) {
      stored.push_back(input.weights[static_cast<size_t>(f * input.weightLength + k)]);
    }
  }
  writeMatrixFile(name, input.weightLength, filters, stored);
}

class FilterBankLayer : public LayerTest {
 protected:
  // Two samples through a bank of 3 filters of 2 x 2 with 2 x 2 positions. Input 0 has 1 channel of
  // 3 x 3; input 1 has 2 channels of 2 x 2 and a border.
  void makeInputs(Random& random, int32_t weightSetsPerFilter) {
    FilterInput first;
    first.channels = 1;
    first.imgSize = 3;
    first.stride = 1;
    first.padding = 0;
    FilterInput second;
    second.channels = 2;
    second.imgSize = 2;
    second.stride = 2;
    second.padding = 1;
    inputs = {first, second};
    int32_t number = 0;
    for (FilterInput& input : inputs) {
      input.sampleLength = input.channels * input.imgSize * input.imgSize;
      input.samples = random.normals(static_cast<size_t>(2 * input.sampleLength));
      input.weightLength = weightSetsPerFilter * input.channels * 4;
      input.weights = random.normals(static_cast<size_t>(3 * input.weightLength));
      writeWeights("weights" + std::to_string(number++), 3, input);
    }
    biases = random.normals(weightSetsPerFilter == 1 ? 3 : 12);
    writeMatrixFile("biases", static_cast<int32_t>(biases.size()), 1, biases);
  }

  void addInputs(size_t count) {
    for (size_t i = 0; i < count; ++i) {
      addInput(2, inputs[i].sampleLength, inputs[i].samples);
    }
  }

  // Two samples of 3 channels of 4 x 4 for a bank of 3 filters of 3 x 3 with 4 x 4 positions. Its
  // output has the shape of its input.
  FilterInput makeInputThatKeepsItsShape(Random& random, int32_t weightSetsPerFilter) {
    FilterInput input;
    input.channels = 3;
    input.imgSize = 4;
    input.padding = 1;
    input.sampleLength = 48;
    input.samples = random.normals(2 * 48);
    input.weightLength = weightSetsPerFilter * 27;
    input.weights = random.normals(static_cast<size_t>(3 * input.weightLength));
    writeWeights("weights0", 3, input);
    biases = random.normals(weightSetsPerFilter == 1 ? 3 : 48);
    writeMatrixFile("biases", static_cast<int32_t>(biases.size()), 1, biases);
    return input;
  }

  static std::string inPlaceText(const std::string& name) {
    return "[" + name +
           "]\ntype=conv\nactsTarget=0\nweights=weights0\nbiases=biases\npadding=1\nstride=1\n"
           "channels=3\nimgSize=4\nmodulesX=4\n";
  }

  static std::string sectionText(const std::string& name) {
    return "[" + name +
           "]\ntype=conv\nweights=weights0_weights1\nbiases=biases\npadding=0_1\nstride=1_2\n"
           "channels=1_2\nfilterSize=2_2\nfilterPixels=4_4\nimgSize=3_2\nimgPixels=9_4\n"
           "filters=3\nmodulesX=2\n";
  }

  std::vector<FilterInput> inputs;
  Floats biases;
};

class ConvLayerTest : public FilterBankLayer {};
class LocalUnsharedLayerTest : public FilterBankLayer {};

// What holds for both types of layer. The parameter is true for a convolution, whose positions
// share their weights.
class FilterBanks : public FilterBankLayer, public ::testing::WithParamInterface<bool> {
 protected:
  bool isConvolution() const { return GetParam(); }
  std::string name() const { return isConvolution() ? "conv" : "local"; }
  int32_t weightSets(int32_t positions) const { return isConvolution() ? 1 : positions; }

  std::unique_ptr<LocalLayer> makeLayer() const {
    if (isConvolution()) return std::make_unique<ConvLayer>(nullptr, "conv");
    return std::make_unique<LocalUnsharedLayer>(nullptr, "local");
  }

  // Whether the output equals the reference's result for two samples of one input.
  ::testing::AssertionResult holdsResult(const Matrix& output, const FilterInput& input,
                                         int32_t modulesX, const Floats& addedBiases) const {
    const Floats wanted =
        isConvolution()
            ? reference::convolution({input}, 2, 3, modulesX,
                                     addedBiases.empty() ? Floats(3, 0.0f) : addedBiases)
            : reference::localUnshared(input, 2, 3, modulesX, addedBiases, true);
    return hasBits(wanted, output.buffer, wanted.size());
  }
};

TEST_F(ConvLayerTest, ReadsItsGeometry) {
  useText(
      "[conv]\ntype=conv\npadding=1_2\nstride=3_4\nfilterSize=5_6\nchannels=7_8\nimgSize=9_10\n"
      "imgPixels=81_100\nfilterPixels=25_36\nmodulesX=11\nfilters=12\n");
  const ConvLayer layer(nullptr, "conv");
  using List = std::vector<int32_t>;
  EXPECT_EQ((List{1, 2}), *layer.padding);
  EXPECT_EQ((List{3, 4}), *layer.stride);
  EXPECT_EQ((List{5, 6}), *layer.filterSize);
  EXPECT_EQ((List{7, 8}), *layer.channels);
  EXPECT_EQ((List{9, 10}), *layer.imgSize);
  EXPECT_EQ((List{81, 100}), *layer.imgPixels);
  EXPECT_EQ((List{25, 36}), *layer.filterPixels);
  EXPECT_EQ(11, layer.modulesX);
  EXPECT_EQ(121, layer.modules);
  EXPECT_EQ(12, layer.filters);
}

TEST_F(ConvLayerTest, MissingKeysGiveEmptyListsAndZeros) {
  useText("[conv]\ntype=conv\n");
  const ConvLayer layer(nullptr, "conv");
  for (const std::vector<int32_t>* list :
       {layer.padding, layer.stride, layer.filterSize, layer.channels, layer.imgSize,
        layer.imgPixels, layer.filterPixels}) {
    ASSERT_NE(nullptr, list);
    EXPECT_TRUE(list->empty());
  }
  EXPECT_EQ(0, layer.modulesX);
  EXPECT_EQ(0, layer.modules);
  EXPECT_EQ(0, layer.filters);
}

TEST_F(ConvLayerTest, HoldsItsWeightsTransposedAndItsBiasesAsTheyAre) {
  writeMatrixFile("weights0", 4, 3, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12});
  writeMatrixFile("biases", 3, 1, {1, 2, 3});
  useText("[conv]\ntype=conv\nweights=weights0\nbiases=biases\n");
  const ConvLayer layer(nullptr, "conv");
  ASSERT_EQ(1u, layer.weights.size());
  EXPECT_EQ(nullptr, layer.weights[0]->source);
  EXPECT_TRUE(hasShape(*layer.weights[0]->matrix, 3, 4, 111));
  EXPECT_TRUE(layer.weights[0]->matrix->ownsBuffer);
  EXPECT_TRUE(holdsValues(*layer.weights[0]->matrix, {1, 4, 7, 10, 2, 5, 8, 11, 3, 6, 9, 12}));
  EXPECT_TRUE(hasShape(*layer.biases->matrix, 3, 1, 111));
}

TEST_F(ConvLayerTest, TwoInputsGiveTheSumOfTheProductsAndTheBiasesOnce) {
  SeededRandom random;
  makeInputs(random, 1);
  useText(sectionText("conv"));
  ConvLayer layer(nullptr, "conv");
  addInputs(2);
  const Matrix& output = run(layer);
  ASSERT_TRUE(hasShape(output, 2, 12, 111));
  EXPECT_TRUE(hasBits(reference::convolution(inputs, 2, 3, 2, biases), output.buffer, 24));
}

TEST_F(ConvLayerTest, SecondRunOverwritesTheSameMatrix) {
  SeededRandom random;
  makeInputs(random, 1);
  useText(sectionText("conv"));
  ConvLayer layer(nullptr, "conv");
  addInputs(2);
  Matrix& output = run(layer);
  const float* const buffer = output.buffer;
  const Floats first = valuesByRows(output);
  for (int32_t i = 0; i < output.size; ++i) output.buffer[i] = kNaN;
  EXPECT_EQ(&output, &run(layer));
  EXPECT_EQ(buffer, output.buffer);
  EXPECT_TRUE(holdsValues(output, first));
}

TEST_F(ConvLayerTest, EachListTooShortIsABadIndexBeforeAnyWork) {
  SeededRandom random;
  makeInputs(random, 1);
  for (const std::string cut : {"padding=0_1", "stride=1_2", "channels=1_2", "imgSize=3_2"}) {
    std::string text = sectionText("conv");
    text.replace(text.find(cut), cut.size(), cut.substr(0, cut.size() - 2));
    useText(text);
    ConvLayer layer(nullptr, "conv");
    clearInputs();
    addInputs(1);
    Matrix& output = run(layer);
    const Floats before = valuesByRows(output);
    for (const int32_t index : {1, 2, -1}) {
      EXPECT_TRUE(throwsOutOfRange(kBadIndex, [&] { layer.applyInput(index, 1.0f); }))
          << cut << ", input " << index;
    }
    EXPECT_TRUE(holdsValues(output, before)) << cut;
  }
}

TEST_F(ConvLayerTest, ListsThatAreNotReadMayBeShort) {
  SeededRandom random;
  makeInputs(random, 1);
  std::string text = sectionText("conv");
  for (const std::string key :
       {"filterSize=2_2\n", "filterPixels=4_4\n", "imgPixels=9_4\n", "filters=3\n"}) {
    text.erase(text.find(key), key.size());
  }
  useText(text);
  ConvLayer layer(nullptr, "conv");
  addInputs(2);
  const Matrix& output = run(layer);
  EXPECT_TRUE(hasBits(reference::convolution(inputs, 2, 3, 2, biases), output.buffer, 24));
}

TEST_F(ConvLayerTest, ZeroDivisorsInTheTextAreOutOfRange) {
  SeededRandom random;
  makeInputs(random, 1);
  for (const std::string key : {"stride=1_2", "channels=1_2", "imgSize=3_2"}) {
    std::string text = sectionText("conv");
    text.replace(text.find(key), key.size(), key.substr(0, key.find('=') + 1) + "0_1");
    useText(text);
    ConvLayer layer(nullptr, "conv");
    clearInputs();
    addInputs(1);
    EXPECT_THROW(run(layer), std::out_of_range) << key;
  }
}

TEST_F(LocalUnsharedLayerTest, OfTwoInputsTheSecondAloneIsLeftWithoutBiases) {
  SeededRandom random;
  makeInputs(random, 4);
  useText(sectionText("local"));
  LocalUnsharedLayer layer(nullptr, "local");
  addInputs(2);
  const Matrix& output = run(layer);
  const Floats wanted = reference::localUnshared(inputs[1], 2, 3, 2, biases, false);
  EXPECT_TRUE(sameFloats(wanted.data(), output.buffer, wanted.size()));
}

TEST_F(LocalUnsharedLayerTest, FirstStepReshapesTheBiases) {
  SeededRandom random;
  makeInputs(random, 4);
  useText(sectionText("local"));
  LocalUnsharedLayer layer(nullptr, "local");
  EXPECT_EQ(12, layer.biases->matrix->rows);
  EXPECT_EQ(1, layer.biases->matrix->cols);
  addInputs(1);
  run(layer);
  EXPECT_EQ(3, layer.biases->matrix->rows);
  EXPECT_EQ(4, layer.biases->matrix->cols);
  EXPECT_EQ(12, layer.biases->matrix->size);
}

TEST_F(LocalUnsharedLayerTest, EachListTooShortIsABadIndexBeforeAnyWork) {
  SeededRandom random;
  makeInputs(random, 4);
  for (const std::string cut : {"padding=0_1", "stride=1_2", "channels=1_2", "imgSize=3_2"}) {
    std::string text = sectionText("local");
    text.replace(text.find(cut), cut.size(), cut.substr(0, cut.size() - 2));
    useText(text);
    LocalUnsharedLayer layer(nullptr, "local");
    EXPECT_TRUE(throwsOutOfRange(kBadIndex, [&] { layer.applyInput(1, 1.0f); })) << cut;
    EXPECT_EQ(1, layer.biases->matrix->cols) << cut;
  }
}

TEST_F(LocalUnsharedLayerTest, ItsSpareMatrixStaysEmpty) {
  SeededRandom random;
  makeInputs(random, 4);
  useText(sectionText("local"));
  LocalUnsharedLayer layer(nullptr, "local");
  addInputs(1);
  run(layer);
  EXPECT_EQ(nullptr, layer.spare.buffer);
  EXPECT_TRUE(hasShape(layer.spare, 0, 0, 111));
}

TEST_P(FilterBanks, OneInputIsFilteredAndGetsTheBiases) {
  SeededRandom random;
  makeInputs(random, weightSets(4));
  useText(sectionText(name()));
  const auto layer = makeLayer();
  addInputs(1);
  const Matrix& output = run(*layer);
  ASSERT_TRUE(hasShape(output, 2, 12, 111));
  EXPECT_TRUE(holdsResult(output, inputs[0], 2, biases));
}

TEST_P(FilterBanks, WithATargetOfTheShapeTheInputItselfIsFiltered) {
  SeededRandom random;
  const FilterInput input = makeInputThatKeepsItsShape(random, weightSets(16));
  useText(inPlaceText(name()));
  const auto layer = makeLayer();
  Matrix& matrix = addInput(2, input.sampleLength, input.samples);
  const float* const buffer = matrix.buffer;
  EXPECT_EQ(&matrix, &run(*layer));
  EXPECT_EQ(buffer, matrix.buffer);
  ASSERT_TRUE(hasShape(matrix, 2, 48, 111));
  EXPECT_TRUE(holdsResult(matrix, input, 4, biases));
}

TEST_P(FilterBanks, WithATargetOfAnotherShapeItIsOutOfRange) {
  SeededRandom random;
  makeInputs(random, weightSets(4));
  useText(sectionText(name()) + "actsTarget=0\n");
  const auto layer = makeLayer();
  addInputs(1);
  EXPECT_THROW(run(*layer), std::out_of_range);
  EXPECT_TRUE(hasShape(*layer->activations, 2, inputs[0].sampleLength, 111));
  EXPECT_TRUE(holdsValues(*layer->activations, inputs[0].samples));
}

TEST_P(FilterBanks, InputWithoutWeightsIsOutOfRange) {
  SeededRandom random;
  makeInputs(random, weightSets(4));
  removeModelFile("weights1");
  useText(sectionText(name()));
  ::testing::internal::CaptureStdout();
  const auto layer = makeLayer();
  EXPECT_EQ(failedLine("weights1"), ::testing::internal::GetCapturedStdout());
  addInputs(2);
  EXPECT_THROW(run(*layer), std::out_of_range);
}

TEST_P(FilterBanks, WithoutABiasesFileNothingIsAdded) {
  SeededRandom random;
  makeInputs(random, weightSets(4));
  removeModelFile("biases");
  useText(sectionText(name()));
  ::testing::internal::CaptureStdout();
  const auto layer = makeLayer();
  EXPECT_EQ(failedLine("biases"), ::testing::internal::GetCapturedStdout());
  EXPECT_EQ(0, layer->biases->matrix->size);
  addInputs(1);
  EXPECT_TRUE(holdsResult(run(*layer), inputs[0], 2, {}));
}

INSTANTIATE_TEST_SUITE_P(OfEachType, FilterBanks, ::testing::Bool(),
                         [](const ::testing::TestParamInfo<bool>& isConvolution) -> std::string {
                           return isConvolution.param ? "conv" : "local";
                         });

}  // namespace
}  // namespace facefeature_test
