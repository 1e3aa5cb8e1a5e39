#include "layers/fc_layer.h"

#include <gtest/gtest.h>

#include <cmath>
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

using facefeature::FCLayer;
using reference::FlatInput;
using reference::Floats;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

class FCLayerTest : public LayerTest {
 protected:
  // Writes the files of a layer with these input lengths and parses its section.
  std::unique_ptr<FCLayer> makeLayer(const std::vector<FlatInput>& inputs, int32_t outputs,
                                     const Floats& biases) {
    std::string names;
    for (size_t i = 0; i < inputs.size(); ++i) {
      const std::string name = "w" + std::to_string(i);
      writeMatrixFile(name, inputs[i].length, outputs, inputs[i].weights);
      names += (i == 0 ? "" : "_") + name;
    }
    writeMatrixFile("b", 1, outputs, biases);
    // The key outputs has a different value, but nothing reads it.
    useText("[fc]\ntype=fc\nweights=" + names + "\nbiases=b\noutputs=7\n");
    return std::make_unique<FCLayer>(nullptr, "fc");
  }

  static std::vector<FlatInput> randomInputs(Random& random, const std::vector<int32_t>& lengths,
                                             int32_t samples, int32_t outputs) {
    std::vector<FlatInput> inputs;
    for (const int32_t length : lengths) {
      FlatInput input;
      input.length = length;
      input.samples = random.normals(static_cast<size_t>(samples * length));
      input.weights = random.normals(static_cast<size_t>(length * outputs));
      inputs.push_back(input);
    }
    return inputs;
  }

  void addInputs(const std::vector<FlatInput>& inputs, int32_t samples) {
    for (const FlatInput& input : inputs) addInput(samples, input.length, input.samples);
  }
};

TEST_F(FCLayerTest, HoldsItsWeightsAsInTheirFiles) {
  SeededRandom random;
  const std::vector<FlatInput> inputs = randomInputs(random, {5, 3}, 1, 4);
  const std::unique_ptr<FCLayer> layer = makeLayer(inputs, 4, random.normals(4));
  ASSERT_EQ(2u, layer->weights.size());
  EXPECT_EQ(nullptr, layer->weights[0]->source);
  EXPECT_EQ(nullptr, layer->weights[1]->source);
  EXPECT_TRUE(hasShape(*layer->weights[0]->matrix, 5, 4, 111));
  EXPECT_TRUE(hasShape(*layer->weights[1]->matrix, 3, 4, 111));
  EXPECT_TRUE(holdsValues(*layer->weights[0]->matrix, inputs[0].weights));
  EXPECT_TRUE(hasShape(*layer->biases->matrix, 1, 4, 111));
}

TEST_F(FCLayerTest, OneInputGivesTheProductAndTheBiases) {
  SeededRandom random;
  for (int round = 0; round < 30; ++round) {
    clearInputs();
    const int32_t samples = random.integer(1, 5), outputs = random.integer(1, 40);
    const std::vector<FlatInput> inputs =
        randomInputs(random, {random.integer(1, 90)}, samples, outputs);
    const Floats biases = random.normals(static_cast<size_t>(outputs));
    const std::unique_ptr<FCLayer> layer = makeLayer(inputs, outputs, biases);
    addInputs(inputs, samples);
    const Matrix& output = run(*layer);
    ASSERT_TRUE(hasShape(output, samples, outputs, 111));
    ASSERT_TRUE(hasBits(reference::fullyConnected(inputs, samples, outputs, biases), output.buffer,
                        static_cast<size_t>(output.size)))
        << round;
  }
}

TEST_F(FCLayerTest, TwoInputsOfTheBuiltInWidthsAddUp) {
  SeededRandom random;
  for (const std::vector<int32_t>& lengths :
       {std::vector<int32_t>{576, 768}, std::vector<int32_t>{1024, 1200}}) {
    clearInputs();
    const std::vector<FlatInput> inputs = randomInputs(random, lengths, 2, 160);
    const Floats biases = random.normals(160);
    const std::unique_ptr<FCLayer> layer = makeLayer(inputs, 160, biases);
    addInputs(inputs, 2);
    const Matrix& output = run(*layer);
    ASSERT_TRUE(hasShape(output, 2, 160, 111));
    EXPECT_TRUE(hasBits(reference::fullyConnected(inputs, 2, 160, biases), output.buffer, 320));
  }
}

TEST_F(FCLayerTest, WholeNumbersAreExact) {
  SeededRandom random;
  std::vector<FlatInput> inputs = randomInputs(random, {37, 64}, 3, 21);
  Floats biases(21);
  for (float& bias : biases) bias = static_cast<float>(random.integer(-9, 9));
  for (FlatInput& input : inputs) {
    for (float& value : input.samples) value = static_cast<float>(random.integer(-9, 9));
    for (float& value : input.weights) value = static_cast<float>(random.integer(-9, 9));
  }
  const std::unique_ptr<FCLayer> layer = makeLayer(inputs, 21, biases);
  addInputs(inputs, 3);
  const Matrix& output = run(*layer);
  const reference::Floats wanted = reference::fullyConnected(inputs, 3, 21, biases);
  EXPECT_TRUE(hasBits(wanted, output.buffer, static_cast<size_t>(output.size)));
}

TEST_F(FCLayerTest, BiasesAreAddedBeforeTheSecondProduct) {
  FlatInput first;
  first.length = 1;
  first.samples = {16777216.0f};
  first.weights = {1, 1};
  FlatInput second = first;
  second.samples = {-16777216.0f};
  const std::unique_ptr<FCLayer> layer = makeLayer({first, second}, 2, {1, 1});
  addInputs({first, second}, 1);
  // 2^24 + 1 rounds to 2^24, so the biases are lost. Added at any other point, they would survive.
  EXPECT_TRUE(holdsValues(run(*layer), {0, 0}));
}

TEST_F(FCLayerTest, NaNInASamplePropagatesToAllOfItsOutputsAndToNoOther) {
  SeededRandom random;
  std::vector<FlatInput> inputs = randomInputs(random, {50}, 3, 33);
  inputs[0].samples[50 + 7] = kNaN;
  const std::unique_ptr<FCLayer> layer = makeLayer(inputs, 33, random.normals(33));
  addInputs(inputs, 3);
  const Matrix& output = run(*layer);
  for (int32_t i = 0; i < 3 * 33; ++i) {
    EXPECT_EQ(i / 33 == 1, std::isnan(output.buffer[i])) << i;
  }
}

TEST_F(FCLayerTest, OverwritesWhatTheActivationsHeld) {
  SeededRandom random;
  const std::vector<FlatInput> inputs = randomInputs(random, {40, 30}, 2, 20);
  const std::unique_ptr<FCLayer> layer = makeLayer(inputs, 20, random.normals(20));
  addInputs(inputs, 2);
  Matrix& output = run(*layer);
  const float* const buffer = output.buffer;
  const Floats first = valuesByRows(output);
  for (int32_t i = 0; i < output.size; ++i) output.buffer[i] = kNaN;
  EXPECT_EQ(&output, &run(*layer));
  EXPECT_EQ(buffer, output.buffer);
  EXPECT_TRUE(holdsValues(output, first));
}

TEST_F(FCLayerTest, NegativeZeroIsTreatedAsZeroScale) {
  FlatInput input;
  input.length = 1;
  input.samples = {3};
  input.weights = {2, 4};
  const std::unique_ptr<FCLayer> layer = makeLayer({input}, 2, {10, 20});
  addInputs({input}, 1);
  Matrix& output = run(*layer);
  layer->applyInput(0, -0.0f);
  EXPECT_TRUE(holdsValues(output, {16, 32}));
}

TEST_F(FCLayerTest, BiasesOfOneColumnBelongToSamplesAndNotToOutputs) {
  writeMatrixFile("w0", 1, 2, {1, 1});
  writeMatrixFile("b", 2, 1, {100, 200});
  useText("[fc]\ntype=fc\nweights=w0\nbiases=b\n");
  FCLayer layer(nullptr, "fc");
  addInput(2, 1, {1, 2});
  EXPECT_TRUE(holdsValues(run(layer), {101, 101, 202, 202}));
}

TEST_F(FCLayerTest, BiasesOfMoreRowsThanSamplesDoNotReachPastTheOutput) {
  writeMatrixFile("w0", 1, 3, {1, 1, 1});
  writeMatrixFile("b", 3, 1, {100, 200, 300});
  useText("[fc]\ntype=fc\nweights=w0\nbiases=b\n");
  FCLayer layer(nullptr, "fc");
  addInput(1, 1, {1});
  EXPECT_TRUE(holdsValues(run(layer), {101, 101, 101}));
}

TEST_F(FCLayerTest, InputByColumnsIsPassedAsTransposed) {
  FlatInput input;
  input.length = 3;
  input.samples = {1, 2, 3, 4, 5, 6};
  input.weights = {1, 10, 100};
  const std::unique_ptr<FCLayer> layer = makeLayer({input}, 1, {0});
  Matrix& samples = addInput(2, 3, input.samples);
  samples.order = 112;
  // The rows are now (1, 3, 5) and (2, 4, 6).
  EXPECT_TRUE(holdsValues(run(*layer), {531, 642}));
}

TEST_F(FCLayerTest, InputWithoutWeightsIsOutOfRange) {
  SeededRandom random;
  const std::vector<FlatInput> inputs = randomInputs(random, {4, 3}, 2, 5);
  makeLayer(inputs, 5, random.normals(5)).reset();
  removeModelFile("w1");
  ::testing::internal::CaptureStdout();
  FCLayer layer(nullptr, "fc");
  EXPECT_EQ(failedLine("w1"), ::testing::internal::GetCapturedStdout());
  ASSERT_EQ(1u, layer.weights.size());
  addInputs(inputs, 2);
  EXPECT_THROW(run(layer), std::out_of_range);
}

TEST_F(FCLayerTest, WithoutABiasesFileGivesTheProductsAlone) {
  SeededRandom random;
  const std::vector<FlatInput> inputs = randomInputs(random, {4}, 2, 5);
  makeLayer(inputs, 5, random.normals(5)).reset();
  removeModelFile("b");
  ::testing::internal::CaptureStdout();
  FCLayer layer(nullptr, "fc");
  EXPECT_EQ(failedLine("b"), ::testing::internal::GetCapturedStdout());
  addInputs(inputs, 2);
  const Matrix& output = run(layer);
  EXPECT_TRUE(hasBits(reference::fullyConnected(inputs, 2, 5, Floats(5, 0.0f)), output.buffer, 10));
}

}  // namespace
}  // namespace facefeature_test
